// Commands that count what happens to them.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "qvlib/AsyncCmd.h"

namespace qvlib_test
{

/// What happened to the commands of a test, in order: "+a" for the execution of the one named a, "-a" for its
/// cancellation, "~a" for its end.
class Protocol
{
public:
    void Add(char what, std::string const & name)
    {
        std::lock_guard const lock(m_mutex);
        if (!m_text.empty())
            m_text += ' ';
        m_text += what + name;
    }
    /// What was added since the last call.
    std::string Take()
    {
        std::lock_guard const lock(m_mutex);
        return std::exchange(m_text, {});
    }

private:
    std::mutex m_mutex;
    std::string m_text;
};

class Cmd : public qvlib::CTLAsyncCmd
{
public:
    Cmd(Protocol & protocol, std::string name, std::function<void()> execute = {}, std::function<void()> canceled = {})
        : m_protocol(protocol), m_name(std::move(name)), m_execute(std::move(execute)), m_canceled(std::move(canceled))
    {
    }
    ~Cmd() override { m_protocol.Add('~', m_name); }

    void Execute() override
    {
        m_protocol.Add('+', m_name);
        if (m_execute)
            m_execute();
    }
    void Canceled() override
    {
        m_protocol.Add('-', m_name);
        if (m_canceled)
            m_canceled();
    }

private:
    Protocol & m_protocol;
    std::string m_name;
    std::function<void()> m_execute;
    std::function<void()> m_canceled;
};

} // namespace qvlib_test
