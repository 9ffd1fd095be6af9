#include "host/linux/internal/xml_tokens.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

namespace qvlib::host
{

namespace
{

// A piece of input, and of queue: small enough to stay in the processor's cache.
constexpr std::size_t kPiece = 16 * 1024;
// Without a queue.
constexpr std::size_t kStreamPiece = 64 * 1024;
constexpr std::size_t kMemoryPiece = 16 * 1024 * 1024;
constexpr std::size_t kLargestPiece = std::size_t{1} << 30;

// expat's memory comes from operator new like the library's own, so that one test can fail every allocation of a parse.
// The size goes in front of the block, for realloc.
constexpr std::size_t kHead = alignof(std::max_align_t);

void * Allocate(std::size_t size)
{
    if (size > std::numeric_limits<std::size_t>::max() - kHead)
        return nullptr;
    char * const block = static_cast<char *>(::operator new(size + kHead, std::nothrow));
    if (!block)
        return nullptr;
    std::memcpy(block, &size, sizeof size);
    return block + kHead;
}

void Free(void * memory)
{
    if (memory)
        ::operator delete(static_cast<char *>(memory) - kHead);
}

void * Reallocate(void * memory, std::size_t size)
{
    if (!memory)
        return Allocate(size);
    std::size_t old = 0;
    std::memcpy(&old, static_cast<char *>(memory) - kHead, sizeof old);
    if (size <= old)
        return memory;
    void * const moved = Allocate(size);
    if (!moved)
        return nullptr;
    std::memcpy(moved, memory, old);
    Free(memory);
    return moved;
}

constexpr XML_Memory_Handling_Suite kMemory = {Allocate, Reallocate, Free};

constexpr bool IsBlank(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool IsBlank(std::string_view text) noexcept
{
    for (char const c : text)
    {
        if (!IsBlank(c))
            return false;
    }
    return true;
}

// Line ends outside the root come as they were written.
std::size_t NormaliseLineEnds(char * text, std::size_t length) noexcept
{
    char * out = text;
    for (std::size_t i = 0; i < length; ++i)
    {
        if (text[i] != '\r')
            *out++ = text[i];
        else if (i + 1 == length || text[i + 1] != '\n')
            *out++ = '\n';
    }
    return static_cast<std::size_t>(out - text);
}

bool EqualFolded(std::string_view text, std::string_view upper) noexcept
{
    if (text.size() != upper.size())
        return false;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        char const c = text[i];
        if ((c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c) != upper[i])
            return false;
    }
    return true;
}

} // namespace

// What expat calls. Nothing may be thrown through it.
struct XmlTokenizer::Handlers
{
    template <class Work>
    static void Guarded(void * self, Work work) noexcept
    {
        XmlTokenizer & t = *static_cast<XmlTokenizer *>(self);
        ++t.m_calls;
        if (t.m_stopped != S_OK)
            return;
        std::size_t const nodes = t.m_nodes.size();
        try
        {
            work(t);
        }
        catch (std::exception const &)
        {
            t.Stop(E_OUTOFMEMORY);
        }
        // A node that turned out bad is not one.
        if (t.m_stopped != S_OK && t.m_nodes.size() > nodes)
        {
            t.m_nodes.resize(nodes);
            t.m_open = false;
        }
    }

    static void XMLCALL Start(void * self, XML_Char const * name, XML_Char const ** attributes)
    {
        Guarded(self,
                [&](XmlTokenizer & t)
                {
                    if (t.m_depth == t.m_maxDepth)
                        return t.Stop(SC_E_MAXELEMENTDEPTH);
                    XmlNode & node = t.Add(XmlNodeType_Element, t.m_depth);
                    std::size_t const nameLength = std::strlen(name);
                    node.nameLength = nameLength;
                    t.Append(name, nameLength);
                    bool colons = std::memchr(name, ':', nameLength) != nullptr;
                    bool declarations = false;
                    std::size_t const first = t.m_attributes.size();
                    for (; *attributes; attributes += 2)
                    {
                        char const * const key = attributes[0];
                        std::size_t const keyLength = std::strlen(key);
                        t.AddAttribute(key, keyLength, attributes[1], std::strlen(attributes[1]));
                        colons = colons || std::memchr(key, ':', keyLength) != nullptr;
                        declarations = declarations || (keyLength >= 5 && std::memcmp(key, "xmlns", 5) == 0);
                    }
                    node.attributeCount = t.m_attributes.size() - first;
                    if (colons || declarations)
                    {
                        HRESULT const result = t.BindNamespaces(node, colons, declarations);
                        if (FAILED(result))
                            return t.Stop(result);
                    }
                    else
                    {
                        node.uri = t.m_namespaces.Default();
                    }
                    t.m_elementUris.push_back(node.uri);
                    ++t.m_depth;
                });
    }

    static void XMLCALL End(void * self, XML_Char const * name)
    {
        Guarded(self,
                [&](XmlTokenizer & t)
                {
                    std::int32_t const uri = t.m_elementUris.back();
                    t.m_elementUris.pop_back();
                    --t.m_depth;
                    // For the end of an empty-element tag the parser reports no bytes.
                    if (XML_GetCurrentByteCount(t.m_parser) == 0)
                    {
                        t.m_nodes.back().empty = true;
                    }
                    else
                    {
                        XmlNode & node = t.Add(XmlNodeType_EndElement, t.m_depth + 1);
                        std::size_t const length = std::strlen(name);
                        node.nameLength = length;
                        node.uri = uri;
                        t.Append(name, length);
                        if (char const * const colon = static_cast<char const *>(std::memchr(name, ':', length)))
                            node.prefixLength = static_cast<std::size_t>(colon - name);
                    }
                    t.m_namespaces.Leave(t.m_depth);
                });
    }

    static void XMLCALL Characters(void * self, XML_Char const * text, int length)
    {
        Guarded(self,
                [&](XmlTokenizer & t)
                {
                    std::size_t const size = static_cast<std::size_t>(length);
                    if (!t.m_open)
                    {
                        t.Add(XmlNodeType_Whitespace, t.m_depth);
                        t.m_open = true;
                    }
                    XmlNode & node = t.m_nodes.back();
                    t.m_text.append(text, size);
                    node.valueLength += size;
                    if (node.type == XmlNodeType_Whitespace && (!IsBlank({text, size}) || t.IsReference(size)))
                    {
                        node.type = XmlNodeType_Text;
                    }
                });
    }

    static void XMLCALL StartCData(void * self)
    {
        Guarded(self,
                [](XmlTokenizer & t)
                {
                    t.Add(XmlNodeType_CDATA, t.m_depth);
                    t.m_open = true;
                });
    }

    static void XMLCALL EndCData(void * self)
    {
        Guarded(self, [](XmlTokenizer & t) { t.CloseText(); });
    }

    static void XMLCALL Comment(void * self, XML_Char const * text)
    {
        Guarded(self,
                [&](XmlTokenizer & t)
                {
                    XmlNode & node = t.Add(XmlNodeType_Comment, t.m_depth);
                    node.valueLength = std::strlen(text);
                    t.Append(text, node.valueLength);
                });
    }

    static void XMLCALL Instruction(void * self, XML_Char const * target, XML_Char const * data)
    {
        Guarded(self,
                [&](XmlTokenizer & t)
                {
                    XmlNode & node = t.Add(XmlNodeType_ProcessingInstruction, t.m_depth);
                    node.nameLength = std::strlen(target);
                    if (std::memchr(target, ':', node.nameLength))
                        return t.Stop(NC_E_NAMECOLON);
                    t.Append(target, node.nameLength);
                    node.value = t.m_text.size();
                    node.valueLength = std::strlen(data);
                    t.Append(data, node.valueLength);
                });
    }

    static void XMLCALL Declaration(void * self, XML_Char const * version, XML_Char const * encoding, int standalone)
    {
        Guarded(self,
                [&](XmlTokenizer & t)
                {
                    if (!t.AllowsEncoding(encoding))
                        return t.Stop(MX_E_ENCODINGSWITCH);
                    XmlNode & node = t.Add(XmlNodeType_XmlDeclaration, 0);
                    node.nameLength = 3;
                    t.Append("xml", 3);
                    auto const add = [&](std::string_view name, std::string_view value)
                    {
                        t.AddAttribute(name.data(), name.size(), value.data(), value.size());
                        ++node.attributeCount;
                    };
                    if (version)
                        add("version", version);
                    if (encoding)
                        add("encoding", encoding);
                    if (standalone >= 0)
                        add("standalone", standalone != 0 ? "yes" : "no");
                });
    }

    static void XMLCALL Doctype(void * self, XML_Char const *, XML_Char const *, XML_Char const *, int)
    {
        Guarded(self, [](XmlTokenizer & t) { t.Stop(WC_E_DTDPROHIBITED); });
    }

    // White space around the root is reported nowhere else.
    static void XMLCALL Other(void * self, XML_Char const * text, int length)
    {
        Guarded(self,
                [&](XmlTokenizer & t)
                {
                    std::string_view const view(text, static_cast<std::size_t>(length));
                    if (t.m_depth != 0 || view.empty() || !IsBlank(view))
                        return;
                    if (!t.m_open)
                    {
                        t.Add(XmlNodeType_Whitespace, 0);
                        t.m_open = true;
                    }
                    t.m_text.append(view);
                    t.m_nodes.back().valueLength += view.size();
                });
    }
};

XmlTokenizer::~XmlTokenizer()
{
    if (m_parser)
        XML_ParserFree(m_parser);
}

void XmlTokenizer::Reset() noexcept
{
    if (m_parser)
        XML_ParserFree(m_parser);
    m_parser = nullptr;
    m_units = XmlUnits::bytes;
    m_last = false;
    m_least = kFirst;
    m_nodes.clear();
    m_attributes.clear();
    m_text.clear();
    m_next = 0;
    m_open = false;
    m_depth = 0;
    m_elementUris.clear();
    m_namespaces.Clear();
    m_stopped = S_OK;
    m_failure = S_OK;
    m_faultLine = 0;
    m_faultColumn = 0;
}

HRESULT XmlTokenizer::Next(XmlNode const *& node)
{
    for (;;)
    {
        std::size_t const ready = m_nodes.size() - (m_open ? 1 : 0);
        if (m_next < ready)
        {
            XmlNode & next = m_nodes[m_next];
            if (next.type == XmlNodeType_Whitespace && next.depth == 0)
                next.valueLength = NormaliseLineEnds(m_text.data() + next.value, next.valueLength);
            node = &next;
            ++m_next;
            return S_OK;
        }
        if (FAILED(m_failure))
            return m_failure;
        if (m_last)
            return S_FALSE;
        try
        {
            HRESULT const result = Refill();
            if (FAILED(result))
                Fault(result);
        }
        catch (std::bad_alloc const &)
        {
            Fault(E_OUTOFMEMORY);
        }
    }
}

void XmlTokenizer::Fault(HRESULT code)
{
    m_failure = code;
    if (m_parser)
    {
        m_faultLine = static_cast<std::uint32_t>(XML_GetCurrentLineNumber(m_parser));
        m_faultColumn = static_cast<std::uint32_t>(XML_GetCurrentColumnNumber(m_parser) + 1);
    }
    // White space outside the root was complete all the same; text that the fault broke off is not a node.
    if (m_open && !(m_nodes.back().depth == 0 && m_nodes.back().type == XmlNodeType_Whitespace))
        m_nodes.pop_back();
    m_open = false;
}

void XmlTokenizer::Stop(HRESULT code) noexcept
{
    m_stopped = code;
    XML_StopParser(m_parser, XML_FALSE);
}

void XmlTokenizer::InstallQueueHandlers() noexcept
{
    XML_SetElementHandler(m_parser, Handlers::Start, Handlers::End);
    XML_SetCharacterDataHandler(m_parser, Handlers::Characters);
    XML_SetCdataSectionHandler(m_parser, Handlers::StartCData, Handlers::EndCData);
    XML_SetCommentHandler(m_parser, Handlers::Comment);
    XML_SetProcessingInstructionHandler(m_parser, Handlers::Instruction);
    XML_SetXmlDeclHandler(m_parser, Handlers::Declaration);
    XML_SetDoctypeDeclHandler(m_parser, Handlers::Doctype, nullptr);
    XML_SetDefaultHandler(m_parser, Handlers::Other);
}

HRESULT XmlTokenizer::Start(std::string_view firstBytes)
{
    m_units = XmlUnits::bytes;
    if (firstBytes.size() >= 2 && !m_input.IsWideText())
    {
        unsigned char const first = static_cast<unsigned char>(firstBytes[0]);
        unsigned char const second = static_cast<unsigned char>(firstBytes[1]);
        if ((first == 0xFF && second == 0xFE) || (first != 0 && second == 0))
            m_units = XmlUnits::littleEndian;
        else if ((first == 0xFE && second == 0xFF) || (first == 0 && second != 0))
            m_units = XmlUnits::bigEndian;
    }
    // The parser would take a NUL among the first two bytes for UTF-16, whatever it is told.
    if (m_input.IsWideText() && firstBytes.substr(0, 2).find('\0') != std::string_view::npos)
    {
        m_faultLine = 1;
        m_faultColumn = static_cast<std::uint32_t>(firstBytes.find('\0') + 1);
        return WC_E_XMLCHARACTER;
    }
    m_parser = XML_ParserCreate_MM(m_input.IsWideText() ? "UTF-8" : nullptr, &kMemory, nullptr);
    if (!m_parser)
        return E_OUTOFMEMORY;
    XML_SetUserData(m_parser, this);
    if (m_sink)
        InstallSinkHandlers();
    else
        InstallQueueHandlers();
    XML_SetUnknownEncodingHandler(m_parser, XmlUnknownEncoding, &m_units);
    // Document types are refused before any entity is declared; the limits stand behind that all the same.
#if XML_MAJOR_VERSION > 2 || (XML_MAJOR_VERSION == 2 && XML_MINOR_VERSION >= 4)
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(m_parser, 2.0F);
    XML_SetBillionLaughsAttackProtectionActivationThreshold(m_parser, 1024 * 1024);
#endif
    return S_OK;
}

// The queue is empty but for an open text: that one moves to the front.
void XmlTokenizer::DropConsumed()
{
    if (m_next == 0)
        return;
    if (m_open)
    {
        XmlNode open = m_nodes.back();
        m_text.erase(0, open.value);
        open.value = 0;
        open.name = 0;
        open.firstAttribute = 0;
        m_nodes.front() = open;
        m_nodes.resize(1);
    }
    else
    {
        m_text.clear();
        m_nodes.clear();
    }
    m_attributes.clear();
    m_next = 0;
}

// Gives the parser the next piece of input, of at most `size` bytes unless more is needed.
HRESULT XmlTokenizer::Feed(std::size_t size)
{
    if (!m_input)
        return E_UNEXPECTED;
    std::string_view piece;
    HRESULT const result = m_input.Next(m_least, std::max(m_least, size), piece, m_last);
    if (FAILED(result))
        return result;
    if (!m_parser)
    {
        HRESULT const started = Start(piece);
        if (FAILED(started))
            return started;
    }
    std::size_t const calls = m_calls;
    XML_Status const status =
        XML_Parse(m_parser, piece.data() ? piece.data() : "", static_cast<int>(piece.size()), m_last ? 1 : 0);
    if (status != XML_STATUS_OK)
        return m_stopped != S_OK ? m_stopped : ExpatFailure();
    // A piece that finished nothing is the inside of a long token, which the parser looks at from its start each time:
    // larger and larger pieces keep that from growing with the square of its length.
    m_least = m_calls == calls ? std::min(2 * piece.size() + 1, kLargestPiece) : 1;
    return S_OK;
}

HRESULT XmlTokenizer::Refill()
{
    DropConsumed();
    HRESULT const result = Feed(kPiece);
    if (SUCCEEDED(result) && m_last)
        m_open = false;
    return result;
}

HRESULT XmlTokenizer::Drive(XmlSink & sink)
{
    m_sink = &sink;
    HRESULT result = S_OK;
    try
    {
        // Memory goes in whole: the parser counts the lines of every piece but the last.
        do
            result = Feed(m_input.IsStream() ? kStreamPiece : kMemoryPiece);
        while (SUCCEEDED(result) && !m_last);
    }
    catch (std::bad_alloc const &)
    {
        result = E_OUTOFMEMORY;
    }
    m_sink = nullptr;
    if (sink.Done())
        return S_OK;
    if (FAILED(result))
        Fault(result);
    return result;
}

HRESULT XmlTokenizer::ExpatFailure() const
{
    int offset = 0;
    int size = 0;
    char const * const context = XML_GetInputContext(m_parser, &offset, &size);
    std::string_view text;
    if (context && size > 0 && offset >= 0 && offset <= size)
        text = {context, static_cast<std::size_t>(size)};
    else
        offset = 0;
    return XmlFaultCode(XML_GetErrorCode(m_parser), text, static_cast<std::size_t>(offset), m_units);
}

XmlNode & XmlTokenizer::Add(XmlNodeType type, std::uint32_t depth)
{
    m_open = false;
    XmlNode & node = m_nodes.emplace_back();
    node.type = type;
    node.depth = depth;
    node.name = m_text.size();
    node.value = node.name;
    node.firstAttribute = m_attributes.size();
    node.uri = XmlNamespaces::kUnbound;
    node.line = static_cast<std::uint32_t>(XML_GetCurrentLineNumber(m_parser));
    node.column = static_cast<std::uint32_t>(XML_GetCurrentColumnNumber(m_parser) + 1);
    return node;
}

void XmlTokenizer::AddAttribute(char const * name, std::size_t nameLength, char const * value, std::size_t valueLength)
{
    XmlAttribute & attribute = m_attributes.emplace_back();
    attribute.name = m_text.size();
    attribute.nameLength = static_cast<std::uint32_t>(nameLength);
    attribute.prefixLength = 0;
    attribute.uri = XmlNamespaces::kUnbound;
    m_text.append(name, nameLength);
    attribute.value = m_text.size();
    attribute.valueLength = valueLength;
    m_text.append(value, valueLength);
}

void XmlTokenizer::Append(char const * text, std::size_t length) { m_text.append(text, length); }

// A blank that was written as a reference is text: a reference is longer than what it stands for.
bool XmlTokenizer::IsReference(std::size_t length) const noexcept
{
    return length == 1 && XML_GetCurrentByteCount(m_parser) >= (m_units == XmlUnits::bytes ? 4 : 8);
}

// Wide text is UTF-16 and cannot be said to be anything else.
bool XmlTokenizer::AllowsEncoding(char const * name) const noexcept
{
    return !name || !m_input.IsWideText() || EqualFolded(name, "UTF-16") || EqualFolded(name, "UTF-16LE");
}

} // namespace qvlib::host
