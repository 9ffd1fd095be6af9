// XmlParser: turns an XML document into a tree of XmlElement; ParserException: why it could not; XmlParseUtils: what
// element text means.
//
//     try
//     {
//         std::shared_ptr<qvlib::XmlElement> root = qvlib::XmlParser::Load(L"<a><b>12</b></a>");
//         int number = 0;
//         qvlib::XmlParseUtils::ParseContent(root->FindFirst(L"b")->Value().c_str(), number);
//     }
//     catch (qvlib::ParserException const & failure)
//     {
//         std::cerr << failure.what() << " at line " << failure.Line() << '\n';
//     }
//
// What a reader may not expect of the tree:
//  - Text is kept for leaves only. An element that begins with text is a leaf even if a child element follows, and that
//    child then becomes its sibling; text behind a child element is passed over.
//  - Attribute names lose their prefix, of two that then coincide the first stays; element names keep theirs.
//  - What follows the root element is not looked at, beyond the node next to it.
//
// A parser of another shape derives from XmlParser, overrides ParseDocument and uses the protected cursor operations.
#pragma once

#include "qvlib/Exceptions.h"
#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/framework/comutil.h"
#include "qvlib/host/xml.h"

#include <exception>
#include <map>
#include <memory>
#include <string>

namespace qvlib
{

class XmlCommandProcessor;
class XmlElement;

/// The one failure of the parser. The text is a fixed prefix and, in hexadecimal, the reader's result code (the MX_E_,
/// WC_E_, NC_E_ and SC_E_ codes of host/xml.h). Thread-compatible.
class QVLIB_API ParserException : public std::exception
{
public:
    /// Copies the text; null reads "Unknown exception".
    explicit ParserException(char const * text) : m_text(text) {}
    /// The same with the place of the fault, both counted from 1.
    ParserException(char const * text, unsigned int line, unsigned int column)
        : m_text(text), m_line(line), m_column(column)
    {
    }
    ParserException(ParserException const &) = default;
    ParserException & operator=(ParserException const &) = default;
    ~ParserException() override;

    char const * what() const noexcept override;
    /// Where the document is at fault, from 1; 0 when the place is not known. A column counts characters.
    unsigned int Line() const noexcept { return m_line; }
    unsigned int Column() const noexcept { return m_column; }

private:
    detail::ExceptionText m_text;
    unsigned int m_line = 0;
    unsigned int m_column = 0;
};

/// Loads documents, and is the base of parsers with a walk of their own. A parser is used once and is
/// thread-compatible; the Load functions are thread-safe. A copy shares the reader and its position.
class QVLIB_API XmlParser
{
public:
    virtual ~XmlParser();
    XmlParser(XmlParser const &);
    XmlParser & operator=(XmlParser const &);

    /// The root of the document, never null. Each throws ParserException for a document that is not well-formed, has a
    /// document type or nests deeper than 256; nothing is returned then. The stream is read from where it stands.
    static std::shared_ptr<XmlElement> Load(IStream * stream);
    /// Bytes in the encoding that they declare, else UTF-8 or, by their look, UTF-16. A UTF-8 mark is passed over. A
    /// length of 0xFFFFFFFF means up to the first NUL.
    static std::shared_ptr<XmlElement> Load(char const * data, unsigned int length);
    /// Wide text. No mark is looked for. `length` counts wide characters; 0xFFFFFFFF means up to the first NUL.
    static std::shared_ptr<XmlElement> Load(wchar_t const * data, unsigned int length);
    static std::shared_ptr<XmlElement> Load(wchar_t const * data);
    static std::shared_ptr<XmlElement> Load(std::wstring const & text);
    static std::shared_ptr<XmlElement> Load(CQVString const & text);

    /// Replaces every value and attribute value of the tree that is a command (XmlCommandProcessor.h) by what the
    /// command returns: the element before its attributes and its children, in order, and the result is not looked at
    /// again. Children are visited where HasChildren says so. Attributes change in place, for every element that shares
    /// the map. What a command throws comes through, with what was replaced until then.
    static void ApplyCommands(XmlElement & element, XmlCommandProcessor const & processor);

    /// Sets the reader up and runs ParseDocument. Throws ParserException.
    void Parse();

protected:
    /// A parser of the stream, which is shared. Null is reported by the first read.
    explicit XmlParser(IStream * stream);

    /// The walk over the document.
    virtual void ParseDocument() = 0;
    /// Moves on to the first node that is not a declaration, comment, processing instruction or white space: not at all
    /// if the cursor is on such a node, and to the end of input if there is none.
    virtual void SkipTrivialNodes();

    /// What is under the cursor.
    XmlNodeType CurrentNodeType();
    /// After trivial nodes: whether the cursor is on a start tag (an end tag) of that name; null fits any. Does not
    /// move past it.
    bool IsBeginElement(wchar_t const * name);
    bool IsEndElement(wchar_t const * name);
    /// Reads the start tag that the cursor is at or before, and the text behind it. Leaves the cursor behind the
    /// element if it is a leaf, on the next start tag if one stopped the text; `HasChildren` is false in the former
    /// case, and in the latter unless there was no text.
    std::shared_ptr<XmlElement> GetNextElement();
    /// Reads the children of `parent` until an end tag, on which the cursor stays, or the end of input.
    void CreateTree(std::shared_ptr<XmlElement> parent);
    /// Steps past the node under the cursor. False, with nothing moved, for a tag of another name than `name`.
    bool SkipElement(wchar_t const * name);
    /// `text`, then the code in hexadecimal: lower-case digits behind 0x, and a bare 0 for zero.
    static std::string FormatHRESULTMessage(std::string const & text, long hr);

private:
    friend class LoadXmlParser;

    void Initialize();
    bool CheckElementHelper(XmlNodeType type, wchar_t const * name);
    std::shared_ptr<std::map<std::wstring, std::wstring>> ParseAttributes();
    XmlNodeType ReadNode();
    bool AtEnd();
    [[noreturn]] void Fail(char const * prefix, HRESULT hr);

    _com_ptr_t<IStream> m_stream;
    _com_ptr_t<IXmlReader> m_reader;
};

/// Converters for element text. Thread-safe.
class QVLIB_API XmlParseUtils
{
public:
    /// Reads `text` into `out` and returns true, always: a number is what its first characters give, 0 if they give
    /// none, and saturates at 32 bits; a negative unsigned wraps, so -1 is 0xFFFFFFFF; a bool is AsBool of the text; a
    /// string ends at the first NUL. The result says nothing about the content.
    template <class T>
    static bool ParseContent(wchar_t const * text, T & out);

    /// "Lang", the tag of an element's language.
    static wchar_t const * GetLanguageTag();

    /// The two letters of the running thread's language, as GetThreadLocale (host/nls.h) tells it; "en" failing that.
    static std::wstring GetLanguageNameFromThreadLocale();
};

template <>
QVLIB_API bool XmlParseUtils::ParseContent<int>(wchar_t const * text, int & out);
template <>
QVLIB_API bool XmlParseUtils::ParseContent<unsigned int>(wchar_t const * text, unsigned int & out);
template <>
QVLIB_API bool XmlParseUtils::ParseContent<std::wstring>(wchar_t const * text, std::wstring & out);
template <>
QVLIB_API bool XmlParseUtils::ParseContent<bool>(wchar_t const * text, bool & out);

} // namespace qvlib
