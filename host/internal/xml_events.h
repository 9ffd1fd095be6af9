// The library's own door into its reader and writer: events instead of nodes, input from memory, output as wide text. A
// reader or writer of the system's own answers E_NOINTERFACE, and its users then go the public way.
#pragma once

#include "qvlib/host/xml.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace qvlib::host
{

/// Takes a document as its parts come, in UTF-8. Nothing here lasts longer than the call. May throw std::bad_alloc.
class XmlSink
{
public:
    /// The attributes are pairs of name and value, behind the last a null. `depth` counts the elements around.
    virtual void Start(char const * name, char const * const * attributes, unsigned int depth) = 0;
    virtual void End(char const * name, unsigned int depth) = 0;
    /// A part of a run of text. `blank`: white space that was written as it is.
    virtual void Text(char const * text, std::size_t length, bool blank) = 0;
    virtual void StartCData() = 0;
    virtual void EndCData() = 0;
    /// A node that stands for nothing in a tree.
    virtual void Other() = 0;

    /// Whether the rest of the document is not wanted any more, faults included.
    bool Done() const noexcept { return m_done; }

protected:
    ~XmlSink() = default;
    void SetDone() noexcept { m_done = true; }

private:
    bool m_done = false;
};

struct IXmlEventReader : IUnknown
{
    /// Takes input from memory, which is not copied and must stay as it is while the reader reads.
    virtual HRESULT STDMETHODCALLTYPE SetBytes(char const * data, std::size_t length) = 0;
    /// The same with wide text, read as the UTF-16 bytes of it would be.
    virtual HRESULT STDMETHODCALLTYPE SetWideText(wchar_t const * data, std::size_t length) = 0;
    /// Reads the input from its start to its end, or until the sink is done. The nodes are those that Read would give,
    /// and a failure is the one that it would report.
    virtual HRESULT STDMETHODCALLTYPE Drive(XmlSink & sink) = 0;

protected:
    ~IXmlEventReader() = default;
};

/// The operations of IXmlWriter on texts with a length. A NUL in one is a character like others that XML cannot hold.
struct IXmlWideOutput : IUnknown
{
    /// What SetOutput does, with a string that the document is appended to.
    virtual HRESULT STDMETHODCALLTYPE SetWideOutput(std::wstring * text) = 0;
    virtual HRESULT STDMETHODCALLTYPE StartElement(std::wstring_view name) = 0;
    /// The caller sees to it that no name comes twice.
    virtual HRESULT STDMETHODCALLTYPE Attribute(std::wstring_view name, std::wstring_view value) = 0;
    virtual HRESULT STDMETHODCALLTYPE Text(std::wstring_view text) = 0;

protected:
    ~IXmlWideOutput() = default;
};

template <>
inline constexpr IID kInterfaceId<IXmlEventReader>{
    0x5B1C3F52, 0x4D0A, 0x4E6B, {0x9C, 0x11, 0x6A, 0x0E, 0x27, 0x8D, 0x51, 0x03}};
template <>
inline constexpr IID kInterfaceId<IXmlWideOutput>{
    0x5B1C3F53, 0x4D0A, 0x4E6B, {0x9C, 0x11, 0x6A, 0x0E, 0x27, 0x8D, 0x51, 0x03}};

} // namespace qvlib::host
