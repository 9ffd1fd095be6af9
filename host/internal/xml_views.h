// The library's own door into its reader and writer: nodes as views instead of copies, input from memory, output as
// wide text. A reader or writer of the system's own answers E_NOINTERFACE, and its users then walk the public way.
#pragma once

#include "qvlib/host/xml.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qvlib::host
{

/// Where an attribute lies in the text of its node; offsets from XmlNodeView::base.
struct XmlAttributeRecord
{
    std::size_t name;
    std::size_t value;
    std::size_t valueLength;
    std::uint32_t nameLength;
    std::uint32_t prefixLength; // without the colon; 0 for none
    std::int32_t uri;           // index of the namespace, below 0 for none
};

/// The node under the cursor, in UTF-8. Good until the next step.
struct XmlNodeView
{
    XmlNodeType type = XmlNodeType_None;
    bool empty = false;
    char const * base = nullptr;
    std::string_view name;
    std::string_view value;
    XmlAttributeRecord const * attributes = nullptr;
    std::size_t attributeCount = 0;

    std::string_view LocalName(XmlAttributeRecord const & attribute) const noexcept
    {
        std::size_t const skipped = attribute.prefixLength == 0 ? 0 : attribute.prefixLength + std::size_t{1};
        return {base + attribute.name + skipped, attribute.nameLength - skipped};
    }
    std::string_view Value(XmlAttributeRecord const & attribute) const noexcept
    {
        return {base + attribute.value, attribute.valueLength};
    }
};

struct IXmlViewReader : IUnknown
{
    /// Takes input from memory, which is not copied and must stay as it is while the reader reads.
    virtual HRESULT STDMETHODCALLTYPE SetBytes(char const * data, std::size_t length) = 0;
    /// The same with wide text, read as the UTF-16 bytes of it would be.
    virtual HRESULT STDMETHODCALLTYPE SetWideText(wchar_t const * data, std::size_t length) = 0;
    /// What Read does, with the node as views. Nodes passed this way have no line and column.
    virtual HRESULT STDMETHODCALLTYPE Next(XmlNodeView & node) = 0;

protected:
    ~IXmlViewReader() = default;
};

struct IXmlWideOutput : IUnknown
{
    /// What SetOutput does, with a string that the document is appended to.
    virtual HRESULT STDMETHODCALLTYPE SetWideOutput(std::wstring * text) = 0;

protected:
    ~IXmlWideOutput() = default;
};

template <>
inline constexpr IID kInterfaceId<IXmlViewReader>{
    0x5B1C3F52, 0x4D0A, 0x4E6B, {0x9C, 0x11, 0x6A, 0x0E, 0x27, 0x8D, 0x51, 0x03}};
template <>
inline constexpr IID kInterfaceId<IXmlWideOutput>{
    0x5B1C3F53, 0x4D0A, 0x4E6B, {0x9C, 0x11, 0x6A, 0x0E, 0x27, 0x8D, 0x51, 0x03}};

} // namespace qvlib::host
