#include "qvlib/XmlWriter.h"

#include "host/internal/xml_events.h"
#include "qvlib/XmlElement.h"
#include "xml/internal/xml_element_access.h"
#include "xml/internal/xml_message.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

namespace qvlib
{

namespace
{

constexpr char const * kInitializeFailure = "Error: cannot initialize XmlWriter: HRESULT = ";
constexpr char const * kNameFailure = "Error: cannot write an xml node name, HRESULT = ";
constexpr char const * kAttributeFailure = "Error: cannot write an attribute, HRESULT = ";
constexpr char const * kValueFailure = "Error: cannot write the xml node value, HRESULT = ";
constexpr char const * kCloseFailure = "Error: cannot close document: HRESULT = ";

// The platform's writer takes texts up to their NUL; what stands behind it must not get lost in silence.
bool HasNul(std::wstring const & text) noexcept { return text.find(L'\0') != std::wstring::npos; }

bool IsUtf16(std::wstring const & encoding) noexcept
{
    std::wstring_view const name = L"UTF-16";
    if (encoding.size() != name.size())
        return false;
    for (std::size_t i = 0; i < name.size(); ++i)
    {
        if (encoding[i] != name[i] && !(encoding[i] >= L'a' && encoding[i] - L'a' + L'A' == name[i]))
            return false;
    }
    return true;
}

constexpr std::size_t kFirstRoom = 256;

// A document that goes on as it began has this much of its length again to spare, and no guess makes it longer than
// that many times what there is.
constexpr std::size_t kSpare = 4;
constexpr std::size_t kBoldest = 64;

// A list of children on the way down the tree, and how many of them were begun.
struct Level
{
    XmlElement::ElementList const * children;
    std::size_t next;
};

// How much of the document is written, from 0 to 1, as far as the numbers of children tell.
double Progress(std::vector<Level> const & levels) noexcept
{
    double done = 1; // of the child begun last
    for (auto level = levels.rbegin(); level != levels.rend(); ++level)
        done = (static_cast<double>(level->next) - 1 + done) / static_cast<double>(level->children->size());
    return done;
}

// The platform's writer, for texts that may hold a NUL.
class PublicTarget
{
public:
    explicit PublicTarget(IXmlWriter & writer) : m_writer(writer) {}

    HRESULT Start(std::wstring const & name)
    {
        return HasNul(name) ? WC_E_NAMECHARACTER : m_writer.WriteStartElement(nullptr, name.c_str(), nullptr);
    }
    HRESULT Attribute(std::wstring const & name, std::wstring const & value)
    {
        return HasNul(name)    ? WC_E_NAMECHARACTER
               : HasNul(value) ? WC_E_XMLCHARACTER
                               : m_writer.WriteAttributeString(nullptr, name.c_str(), nullptr, value.c_str());
    }
    HRESULT Text(std::wstring const & text)
    {
        return HasNul(text) ? WC_E_XMLCHARACTER : m_writer.WriteString(text.c_str());
    }
    HRESULT End() { return m_writer.WriteEndElement(); }
    void MakeRoom(std::vector<Level> const &) {}

private:
    IXmlWriter & m_writer;
};

// The library's own writer, straight into a string, which it lets go of whatever happens.
class WideTarget
{
public:
    WideTarget(_com_ptr_t<IXmlWriter> const & writer, std::wstring * text)
        : m_writer(*writer), m_output(writer), m_text(text)
    {
        if (m_output && FAILED(m_output->SetWideOutput(text)))
            m_output = nullptr;
    }
    ~WideTarget()
    {
        if (m_output)
            m_output->SetWideOutput(nullptr);
    }
    WideTarget(WideTarget const &) = delete;
    WideTarget & operator=(WideTarget const &) = delete;
    explicit operator bool() const noexcept { return static_cast<bool>(m_output); }

    HRESULT Start(std::wstring const & name) { return m_output->StartElement(name); }
    HRESULT Attribute(std::wstring const & name, std::wstring const & value)
    {
        return m_output->Attribute(name, value);
    }
    HRESULT Text(std::wstring const & text) { return m_output->Text(text); }
    HRESULT End() { return m_writer.WriteEndElement(); }
    // Growing copies the text again and again, so a text that gets long gets the room that the document may need. What
    // is not used of it is never touched.
    void MakeRoom(std::vector<Level> const & levels)
    {
        std::size_t const size = m_text->size();
        if (size < m_enough)
            return;
        double const progress = Progress(levels);
        if (progress * kBoldest >= 1)
        {
            auto const length = static_cast<std::size_t>(static_cast<double>(size) / progress);
            try
            {
                m_text->reserve(length + length / kSpare);
            }
            catch (std::exception const &)
            {
                // The document may need less.
            }
        }
        // Not for every child: a deep tree takes its time to look through.
        m_enough = std::max(m_text->capacity() - m_text->capacity() / 8, size + size / 2);
    }

private:
    IXmlWriter & m_writer;
    _com_ptr_t<host::IXmlWideOutput> m_output;
    std::wstring * m_text;
    std::size_t m_enough = kFirstRoom / 2;
};

void Check(HRESULT hr, char const * prefix)
{
    if (FAILED(hr))
        throw XmlWriterException(xml::FailureText(prefix, hr).c_str());
}

// Goes down the tree with a list of its own: a tree built by hand may be deeper than any call stack.
template <class Target>
void WriteTree(Target & target, XmlElement const * element)
{
    std::vector<Level> levels;
    levels.reserve(16);
    // Writes everything up to the children, and the whole element if it has none.
    auto const begin = [&](XmlElement const & entered)
    {
        Check(target.Start(entered.Name()), kNameFailure);
        if (entered.HasAttributes())
        {
            for (auto const & [name, value] : *XmlElementAccess::Attributes(entered))
                Check(target.Attribute(name, value), kAttributeFailure);
        }
        if (entered.ContainsChildren())
        {
            levels.push_back({XmlElementAccess::Children(entered).get(), 0});
            return;
        }
        if (!entered.Value().empty())
            Check(target.Text(entered.Value()), kValueFailure);
        Check(target.End(), kNameFailure);
    };
    if (!element)
        Check(E_INVALIDARG, kNameFailure);
    begin(*element);
    while (!levels.empty())
    {
        Level & level = levels.back();
        if (level.next == level.children->size())
        {
            levels.pop_back();
            Check(target.End(), kNameFailure);
        }
        else if (XmlElement const * const child = (*level.children)[level.next++].get())
        {
            begin(*child);
            target.MakeRoom(levels);
        }
    }
}

} // namespace

XmlWriterException::~XmlWriterException() = default;

char const * XmlWriterException::what() const noexcept { return m_text.OrUnknown(); }

XmlWriter::XmlWriter() : m_encoding(L"utf-16")
{
    void * writer = nullptr;
    Check(CreateXmlWriter(host::kInterfaceId<IXmlWriter>, &writer, nullptr), kInitializeFailure);
    m_writer.Attach(static_cast<IXmlWriter *>(writer));
    Check(m_writer->SetProperty(XmlWriterProperty_OmitXmlDeclaration, TRUE), kInitializeFailure);
    Check(m_writer->SetProperty(XmlWriterProperty_ByteOrderMark, FALSE), kInitializeFailure);
}

XmlWriter::~XmlWriter() = default;
XmlWriter::XmlWriter(XmlWriter const &) = default;
XmlWriter & XmlWriter::operator=(XmlWriter const &) = default;

void XmlWriter::SetEncoding(std::wstring const & name) { m_encoding = name; }

std::wstring XmlWriter::Write(std::shared_ptr<XmlElement> element)
{
    XmlWriter writer;
    return writer.WriteElement(std::move(element));
}

std::wstring XmlWriter::WriteElement(std::shared_ptr<XmlElement> element)
{
    m_writer->SetOutput(nullptr);
    m_output = nullptr;
    m_text = nullptr;
    // UTF-16 bytes would be put together to the very text that went into them: over the library's own writer the text
    // goes straight into the result.
    if (IsUtf16(m_encoding))
    {
        std::wstring text;
        text.reserve(kFirstRoom);
        WideTarget target(m_writer, &text);
        if (target)
        {
            WriteTree(target, element.get());
            Check(m_writer->WriteEndDocument(), kCloseFailure);
            if (text.capacity() / 2 > std::max(text.size(), kFirstRoom))
                text.shrink_to_fit();
            return text;
        }
    }
    Initialize();
    return WriteInternal(element);
}

void XmlWriter::Initialize()
{
    m_text = new StringStream;
    m_output.Attach(m_text);
    _com_ptr_t<IXmlWriterOutput> output;
    IXmlWriterOutput * made = nullptr;
    Check(CreateXmlWriterOutputWithEncodingName(m_output, nullptr, m_encoding.c_str(), &made), kInitializeFailure);
    output.Attach(made);
    Check(m_writer->SetOutput(output), kInitializeFailure);
}

std::wstring XmlWriter::WriteInternal(std::shared_ptr<XmlElement> const & element)
{
    WriteElementInternal(element);
    Check(m_writer->WriteEndDocument(), kCloseFailure);
    // What the stream says of the rest is ignored; it refuses nothing, but it may find no memory.
    if (m_writer->Flush() == E_OUTOFMEMORY)
        throw std::bad_alloc();
    return m_text->GetStdString();
}

void XmlWriter::WriteElementInternal(std::shared_ptr<XmlElement> const & element)
{
    PublicTarget target(*m_writer);
    WriteTree(target, element.get());
}

std::string XmlWriter::FormatHRESULTMessage(std::string const & text, long hr)
{
    return xml::FailureText(text, static_cast<HRESULT>(hr));
}

} // namespace qvlib
