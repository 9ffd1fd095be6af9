// XmlWriter: writes a tree of XmlElement as a wide string, on one line, without a declaration and without a mark.
//
//     std::wstring const text = qvlib::XmlWriter::Write(root);   // <a><b c="1">x</b></a>
//
// An element with child elements loses its own value on output: only leaves write their text. Attributes come sorted
// by name. Everything that XML asks to escape is escaped, line ends and tabs in attributes too, so what is written
// reads back equal. Names must be plain XML names: one with a colon is refused, as is an attribute "xmlns" with a
// reserved value.
#pragma once

#include "qvlib/Exceptions.h"
#include "qvlib/StringStream.h"
#include "qvlib/export.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/host/xml.h"

#include <exception>
#include <memory>
#include <string>

namespace qvlib
{

class XmlElement;

/// The one failure of the writer: a fixed prefix and, in hexadecimal, the code of the platform's writer (see
/// IXmlWriter). Thread-compatible.
class QVLIB_API XmlWriterException : public std::exception
{
public:
    /// Copies the text; null reads "Unknown exception".
    explicit XmlWriterException(char const * text) : m_text(text) {}
    XmlWriterException(XmlWriterException const &) = default;
    XmlWriterException & operator=(XmlWriterException const &) = default;
    ~XmlWriterException() override;

    char const * what() const noexcept override;

private:
    detail::ExceptionText m_text;
};

/// Thread-compatible. A copy shares the stream and the platform's writer with its source.
class QVLIB_API XmlWriter
{
public:
    /// A writer for UTF-16. Throws XmlWriterException.
    XmlWriter();
    virtual ~XmlWriter();
    XmlWriter(XmlWriter const &);
    XmlWriter & operator=(XmlWriter const &);

    /// Names the encoding of the documents to come; not checked here. Only UTF-16 gives readable text: the bytes of
    /// another encoding come out two to a character.
    void SetEncoding(std::wstring const & name);

    /// The document of that root. Throws XmlWriterException for a name or a text that XML cannot hold, and for a null
    /// root; a NUL in a text is such a character. Null entries among children are passed over. The static function is
    /// thread-safe.
    static std::wstring Write(std::shared_ptr<XmlElement> element);
    /// One more document with this writer, which starts anew.
    std::wstring WriteElement(std::shared_ptr<XmlElement> element);

private:
    void Initialize();
    std::wstring WriteInternal(std::shared_ptr<XmlElement> const & element);
    void WriteElementInternal(std::shared_ptr<XmlElement> const & element);
    static std::string FormatHRESULTMessage(std::string const & text, long hr);

    _com_ptr_t<IStream> m_output;
    _com_ptr_t<IXmlWriter> m_writer;
    StringStream * m_text = nullptr;
    std::wstring m_encoding;
};

} // namespace qvlib
