// Where a written document goes: a stream in some encoding.
#pragma once

#include "qvlib/host/xml.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct UConverter;

namespace qvlib::host
{

/// The form of the bytes, for the encodings that need no converter.
enum class XmlByteForm
{
    utf8,
    utf16Little,
    utf16Big,
    converted
};

/// By which the writer knows an output of its own.
inline constexpr IID kXmlOutputId{0x5B1C3F54, 0x4D0A, 0x4E6B, {0x9C, 0x11, 0x6A, 0x0E, 0x27, 0x8D, 0x51, 0x03}};

/// A stream and the encoding of what goes to it. One reference from its maker.
class XmlOutput final : public IUnknown
{
public:
    /// MX_E_ENCODING for an unknown name; null is UTF-8.
    static HRESULT Create(ISequentialStream * stream, wchar_t const * encoding, XmlOutput ** output);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void ** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    /// Whether the encoding has the character.
    bool Holds(char32_t c) const noexcept;
    /// Whether it has every character.
    bool HoldsAll() const noexcept { return m_form != XmlByteForm::converted || m_unicode; }
    std::wstring const & Name() const noexcept { return m_name; }
    /// Writes the text, of which every character is held. A lone surrogate does not come.
    HRESULT Write(std::wstring_view text);
    HRESULT WriteMark();

private:
    XmlOutput() = default;
    ~XmlOutput();
    HRESULT WriteBytes(char const * bytes, std::size_t count);

    struct Close
    {
        void operator()(UConverter * converter) const noexcept;
    };

    unsigned int m_references = 1; // an output belongs to one writer
    ISequentialStream * m_stream = nullptr;
    XmlByteForm m_form = XmlByteForm::utf8;
    bool m_unicode = false;
    std::wstring m_name;
    std::unique_ptr<UConverter, Close> m_converter;
    std::unique_ptr<void, void (*)(void *)> m_set{nullptr, nullptr};
    std::string m_bytes;
};

} // namespace qvlib::host
