#include "qvlib/XmlWriter.h"

#include "host/internal/xml_events.h"
#include "qvlib/XmlElement.h"
#include "xml/internal/xml_element_access.h"
#include "xml/internal/xml_message.h"

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

// Lets go of the caller's string whatever happens.
class WideOutput
{
public:
    WideOutput(_com_ptr_t<IXmlWriter> const & writer, std::wstring * text) : m_output(writer)
    {
        if (m_output && FAILED(m_output->SetWideOutput(text)))
            m_output = nullptr;
    }
    ~WideOutput()
    {
        if (m_output)
            m_output->SetWideOutput(nullptr);
    }
    WideOutput(WideOutput const &) = delete;
    WideOutput & operator=(WideOutput const &) = delete;
    explicit operator bool() const noexcept { return static_cast<bool>(m_output); }

private:
    _com_ptr_t<host::IXmlWideOutput> m_output;
};

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
        WideOutput const output(m_writer, &text);
        if (output)
        {
            WriteElementInternal(element);
            Check(m_writer->WriteEndDocument(), kCloseFailure);
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

// Goes down the tree with a list of its own: a tree built by hand may be deeper than any call stack.
void XmlWriter::WriteElementInternal(std::shared_ptr<XmlElement> const & element)
{
    struct Level
    {
        XmlElement::ElementList const * children;
        std::size_t next;
    };
    std::vector<Level> levels;
    // Writes everything up to the children, and the whole element if it has none.
    auto const begin = [&](XmlElement const & entered)
    {
        Check(HasNul(entered.Name()) ? WC_E_NAMECHARACTER
                                     : m_writer->WriteStartElement(nullptr, entered.Name().c_str(), nullptr),
              kNameFailure);
        if (entered.HasAttributes())
        {
            for (auto const & [name, value] : *XmlElementAccess::Attributes(entered))
            {
                Check(HasNul(name)    ? WC_E_NAMECHARACTER
                      : HasNul(value) ? WC_E_XMLCHARACTER
                                      : m_writer->WriteAttributeString(nullptr, name.c_str(), nullptr, value.c_str()),
                      kAttributeFailure);
            }
        }
        if (entered.ContainsChildren())
        {
            levels.push_back({XmlElementAccess::Children(entered).get(), 0});
            return;
        }
        if (!entered.Value().empty())
        {
            Check(HasNul(entered.Value()) ? WC_E_XMLCHARACTER : m_writer->WriteString(entered.Value().c_str()),
                  kValueFailure);
        }
        Check(m_writer->WriteEndElement(), kNameFailure);
    };
    if (!element)
        Check(m_writer->WriteStartElement(nullptr, nullptr, nullptr), kNameFailure);
    begin(*element);
    while (!levels.empty())
    {
        Level & level = levels.back();
        if (level.next == level.children->size())
        {
            levels.pop_back();
            Check(m_writer->WriteEndElement(), kNameFailure);
        }
        else if (XmlElement const * const child = (*level.children)[level.next++].get())
        {
            begin(*child);
        }
    }
}

std::string XmlWriter::FormatHRESULTMessage(std::string const & text, long hr)
{
    return xml::FailureText(text, static_cast<HRESULT>(hr));
}

void XmlWriter::Check(HRESULT hr, char const * prefix)
{
    if (FAILED(hr))
        throw XmlWriterException(FormatHRESULTMessage(prefix, hr).c_str());
}

} // namespace qvlib
