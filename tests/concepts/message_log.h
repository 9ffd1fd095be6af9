// Takes the place of whoever shows message boxes, and keeps their texts.
#pragma once

#include <qvlib/host/debug.h>

#include <string>
#include <vector>

namespace qvlib_test
{

class MessageLog
{
public:
    MessageLog()
        : m_before(qvlib::host::SetMessageBoxHandler(
              [this](HWND, wchar_t const * text, wchar_t const * caption, UINT)
              {
                  m_texts.emplace_back(text);
                  m_caption = caption;
                  return IDOK;
              }))
    {
    }
    MessageLog(MessageLog const &) = delete;
    MessageLog & operator=(MessageLog const &) = delete;
    ~MessageLog() { qvlib::host::SetMessageBoxHandler(std::move(m_before)); }

    std::vector<std::wstring> const & Texts() const { return m_texts; }
    std::wstring const & Caption() const { return m_caption; }

private:
    std::vector<std::wstring> m_texts;
    std::wstring m_caption;
    qvlib::host::MessageBoxHandler m_before;
};

} // namespace qvlib_test
