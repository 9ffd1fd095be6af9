// The tokenizer behind the reader: drives expat over pieces of the input and queues the nodes that come of each.
#pragma once

#include "host/internal/xml_events.h"

#ifndef XML_DTD
#define XML_DTD // as the library is built: the header hides the limits on entities without it
#endif
#include <expat.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvlib::host
{

/// How the characters of the input lie in its bytes, as far as it shows from the first two.
enum class XmlUnits
{
    bytes,
    littleEndian,
    bigEndian
};

/// Where a piece of input comes from: a stream, bytes or wide text.
class XmlInput
{
public:
    void SetStream(ISequentialStream * stream) noexcept;
    void SetBytes(char const * data, std::size_t length) noexcept;
    void SetWideText(wchar_t const * data, std::size_t length) noexcept;
    void Clear() noexcept;
    ~XmlInput() { Clear(); }
    XmlInput() = default;
    XmlInput(XmlInput const &) = delete;
    XmlInput & operator=(XmlInput const &) = delete;

    bool IsWideText() const noexcept { return m_wide != nullptr; }
    bool IsStream() const noexcept { return m_stream != nullptr; }
    explicit operator bool() const noexcept { return m_given; }

    /// The next piece, of at least `least` and at most about `size` bytes unless less is left. `last` says that nothing
    /// follows.
    HRESULT Next(std::size_t least, std::size_t size, std::string_view & piece, bool & last);

private:
    HRESULT FromStream(std::size_t least, std::size_t size, std::string_view & piece, bool & last);
    void FromWideText(std::size_t size, std::string_view & piece, bool & last);

    bool m_given = false;
    ISequentialStream * m_stream = nullptr;
    char const * m_bytes = nullptr;
    wchar_t const * m_wide = nullptr;
    std::size_t m_length = 0;
    std::size_t m_position = 0;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_capacity = 0;
};

/// Which namespace each prefix stands for, element by element.
class XmlNamespaces
{
public:
    void Clear() noexcept;
    /// Binds the prefix (empty: the default) for the element at `depth`; gives an NC_E_ code for a forbidden pair.
    HRESULT Declare(std::string_view prefix, std::string_view uri, unsigned int depth);
    /// Undoes what elements at `depth` and below have bound.
    void Leave(unsigned int depth) noexcept;
    /// The index of the prefix's namespace; kUnbound when there is none.
    std::int32_t Find(std::string_view prefix) const noexcept;
    std::string const & Uri(std::int32_t index) const;
    bool HasDefault() const noexcept { return m_default >= 0; }
    std::int32_t Default() const noexcept { return m_default; }

    static constexpr std::int32_t kUnbound = -1;
    static constexpr std::int32_t kXml = 0;
    static constexpr std::int32_t kXmlns = 1;

private:
    using Prefixes = std::map<std::string, std::int32_t, std::less<>>;
    struct Change
    {
        unsigned int depth;
        Prefixes::iterator prefix;
        std::int32_t before;
    };

    std::int32_t Intern(std::string_view uri);

    std::map<std::string, std::int32_t, std::less<>> m_indices;
    std::vector<std::string const *> m_uris;
    Prefixes m_prefixes;
    std::vector<Change> m_changes;
    std::int32_t m_default = kUnbound;
};

/// Where an attribute lies in the text of the queue.
struct XmlAttribute
{
    std::size_t name;
    std::size_t value;
    std::size_t valueLength;
    std::uint32_t nameLength;
    std::uint32_t prefixLength; // without the colon; 0 for none
    std::int32_t uri;           // index of the namespace, below 0 for none
};

struct XmlNode
{
    XmlNodeType type;
    bool empty;
    std::uint32_t depth;
    std::size_t name;
    std::size_t nameLength;
    std::size_t prefixLength;
    std::size_t value;
    std::size_t valueLength;
    std::size_t firstAttribute;
    std::size_t attributeCount;
    std::int32_t uri;
    std::uint32_t line;
    std::uint32_t column;
};

class XmlTokenizer
{
public:
    static constexpr unsigned int kMaxDepth = 256;
    /// The encoding shows from the first bytes, so these come together.
    static constexpr std::size_t kFirst = 4;

    XmlTokenizer() = default;
    ~XmlTokenizer();
    XmlTokenizer(XmlTokenizer const &) = delete;
    XmlTokenizer & operator=(XmlTokenizer const &) = delete;

    XmlInput & Input() noexcept { return m_input; }
    /// Forgets the document: the next step starts on what the input holds then.
    void Reset() noexcept;
    void SetMaxDepth(unsigned int depth) noexcept { m_maxDepth = depth; }
    unsigned int MaxDepth() const noexcept { return m_maxDepth; }
    /// S_OK and the next node, S_FALSE at the end, or the failure, which stays.
    HRESULT Next(XmlNode const *& node);
    /// Passes the whole document on instead, without a queue. S_OK, or the failure.
    HRESULT Drive(XmlSink & sink);

    std::string_view Text(std::size_t offset, std::size_t length) const noexcept
    {
        return {m_text.data() + offset, length};
    }
    XmlAttribute const * Attributes(XmlNode const & node) const noexcept
    {
        return m_attributes.data() + node.firstAttribute;
    }
    XmlNamespaces const & Namespaces() const noexcept { return m_namespaces; }
    std::uint32_t FaultLine() const noexcept { return m_faultLine; }
    std::uint32_t FaultColumn() const noexcept { return m_faultColumn; }

private:
    struct Handlers;
    struct SinkHandlers;
    friend struct Handlers;
    friend struct SinkHandlers;

    HRESULT Start(std::string_view firstBytes);
    void InstallQueueHandlers() noexcept;
    void InstallSinkHandlers() noexcept;
    HRESULT Feed(std::size_t size);
    HRESULT Refill();
    void DropConsumed();
    void Fault(HRESULT code);
    /// From within expat: ends the parse with this failure.
    void Stop(HRESULT code) noexcept;
    HRESULT ExpatFailure() const;

    void AddAttribute(char const * name, std::size_t nameLength, char const * value, std::size_t valueLength);
    XmlNode & Add(XmlNodeType type, std::uint32_t depth);
    void Append(char const * text, std::size_t length);
    void CloseText() noexcept { m_open = false; }
    bool IsReference(std::size_t length) const noexcept;
    bool AllowsEncoding(char const * name) const noexcept;
    HRESULT CheckName(std::string_view name, std::size_t & prefixLength) const noexcept;
    HRESULT BindNamespaces(XmlNode & node, bool colons, bool declarations);

    XmlInput m_input;
    XML_Parser m_parser = nullptr;
    XmlUnits m_units = XmlUnits::bytes;
    unsigned int m_maxDepth = kMaxDepth;
    bool m_last = false;
    std::size_t m_least = kFirst; // what the next piece must have
    std::size_t m_calls = 0;      // of handlers, to see whether a piece moved anything

    // The queue. Only its last node can be open, a text that may go on.
    std::vector<XmlNode> m_nodes;
    std::vector<XmlAttribute> m_attributes;
    std::string m_text;
    std::size_t m_next = 0;
    bool m_open = false;

    unsigned int m_depth = 0;
    std::vector<std::int32_t> m_elementUris;
    std::vector<std::pair<std::int32_t, std::string_view>> m_qualified;
    XmlNamespaces m_namespaces;

    XmlSink * m_sink = nullptr;
    HRESULT m_stopped = S_OK;
    HRESULT m_failure = S_OK;
    std::uint32_t m_faultLine = 0;
    std::uint32_t m_faultColumn = 0;
};

/// The code for what expat refused, by a look at the text around the place. `context` are the bytes around it.
HRESULT XmlFaultCode(XML_Error error, std::string_view context, std::size_t offset, XmlUnits units);

/// Answers expat's question about an 8-bit or double-byte encoding that it does not know.
int XMLCALL XmlUnknownEncoding(void * data, XML_Char const * name, XML_Encoding * info);

} // namespace qvlib::host
