// The platform's pull reader and writer for XML.
//
// The reader goes forward only and knows namespaces. It refuses document type declarations, whatever the property
// says, and nests to 256 elements. It recognises UTF-16 in either order with or without a mark, takes UTF-8 for the
// default and reads the 8-bit encodings that a declaration names. Input is read in pieces as the walk needs it. The
// writer checks names and characters, so that what it writes can be read back.
//
//     IXmlReader * reader = nullptr;
//     if (SUCCEEDED(CreateXmlReader(IID_IXmlReader, reinterpret_cast<void **>(&reader), nullptr)))
//     {
//         reader->SetInput(stream);
//         XmlNodeType type;
//         while (reader->Read(&type) == S_OK)
//             if (type == XmlNodeType_Element) ...
//         reader->Release();
//     }
//
// Strings that the reader hands out belong to it and last until its next move. Thread rule: a reader or a writer is
// thread-compatible, the three functions are thread-safe.
//
// Differences from the platform: document types are always refused; of the writer's operations the ones that write
// elements, attributes and text are there, and these take no prefix and no namespace.
#pragma once

#include <qvlib/host/com.h>

#if defined(_WIN32)
#include <xmllite.h>
#else

#include <qvlib/export.h>

struct IMalloc;

/// The kind of node under the cursor.
enum XmlNodeType
{
    XmlNodeType_None = 0,
    XmlNodeType_Element = 1,
    XmlNodeType_Attribute = 2,
    XmlNodeType_Text = 3,
    XmlNodeType_CDATA = 4,
    XmlNodeType_ProcessingInstruction = 7,
    XmlNodeType_Comment = 8,
    XmlNodeType_DocumentType = 10,
    XmlNodeType_Whitespace = 13,
    XmlNodeType_EndElement = 15,
    XmlNodeType_XmlDeclaration = 17
};

enum XmlReaderProperty
{
    XmlReaderProperty_DtdProcessing = 4,  ///< only DtdProcessing_Prohibit, the default
    XmlReaderProperty_ReadState = 5,      ///< an XmlReadState; read-only
    XmlReaderProperty_MaxElementDepth = 6 ///< 1 to 256, the default
};

enum DtdProcessing
{
    DtdProcessing_Prohibit = 0,
    DtdProcessing_Parse = 1
};

enum XmlReadState
{
    XmlReadState_Initial = 0,
    XmlReadState_Interactive = 1,
    XmlReadState_Error = 2,
    XmlReadState_EndOfFile = 3,
    XmlReadState_Closed = 4
};

enum XmlWriterProperty
{
    XmlWriterProperty_Indent = 1,            ///< FALSE at first; two blanks a level, lines end in CR LF
    XmlWriterProperty_ByteOrderMark = 2,     ///< TRUE at first; a mark in front of UTF-8 and UTF-16
    XmlWriterProperty_OmitXmlDeclaration = 3 ///< FALSE at first; the declaration goes out with the first element
};

// Failures of the input and its encoding.
constexpr HRESULT MX_E_MX = static_cast<HRESULT>(0xC00CEE00U);
constexpr HRESULT MX_E_INPUTEND = static_cast<HRESULT>(0xC00CEE01U);          ///< unexpected end of input
constexpr HRESULT MX_E_ENCODING = static_cast<HRESULT>(0xC00CEE02U);          ///< unknown encoding, bad bytes
constexpr HRESULT MX_E_ENCODINGSWITCH = static_cast<HRESULT>(0xC00CEE03U);    ///< declared other than it is
constexpr HRESULT MX_E_ENCODINGSIGNATURE = static_cast<HRESULT>(0xC00CEE04U); ///< contradicted by the mark
// Failures of form.
constexpr HRESULT WC_E_WC = static_cast<HRESULT>(0xC00CEE20U);
constexpr HRESULT WC_E_WHITESPACE = static_cast<HRESULT>(0xC00CEE21U);
constexpr HRESULT WC_E_SEMICOLON = static_cast<HRESULT>(0xC00CEE22U);
constexpr HRESULT WC_E_GREATERTHAN = static_cast<HRESULT>(0xC00CEE23U);
constexpr HRESULT WC_E_QUOTE = static_cast<HRESULT>(0xC00CEE24U);
constexpr HRESULT WC_E_EQUAL = static_cast<HRESULT>(0xC00CEE25U);
constexpr HRESULT WC_E_LESSTHAN = static_cast<HRESULT>(0xC00CEE26U);
constexpr HRESULT WC_E_HEXDIGIT = static_cast<HRESULT>(0xC00CEE27U);
constexpr HRESULT WC_E_DIGIT = static_cast<HRESULT>(0xC00CEE28U);
constexpr HRESULT WC_E_XMLCHARACTER = static_cast<HRESULT>(0xC00CEE2BU);
constexpr HRESULT WC_E_NAMECHARACTER = static_cast<HRESULT>(0xC00CEE2CU);
constexpr HRESULT WC_E_SYNTAX = static_cast<HRESULT>(0xC00CEE2DU);
constexpr HRESULT WC_E_CDSECT = static_cast<HRESULT>(0xC00CEE2EU);
constexpr HRESULT WC_E_COMMENT = static_cast<HRESULT>(0xC00CEE2FU);
constexpr HRESULT WC_E_ROOTELEMENT = static_cast<HRESULT>(0xC00CEE3AU);
constexpr HRESULT WC_E_ELEMENTMATCH = static_cast<HRESULT>(0xC00CEE3BU);
constexpr HRESULT WC_E_UNIQUEATTRIBUTE = static_cast<HRESULT>(0xC00CEE3CU);
constexpr HRESULT WC_E_LEADINGXML = static_cast<HRESULT>(0xC00CEE3EU);
constexpr HRESULT WC_E_XMLDECL = static_cast<HRESULT>(0xC00CEE40U);
constexpr HRESULT WC_E_ENCNAME = static_cast<HRESULT>(0xC00CEE41U);
constexpr HRESULT WC_E_UNDECLAREDENTITY = static_cast<HRESULT>(0xC00CEE47U);
constexpr HRESULT WC_E_PI = static_cast<HRESULT>(0xC00CEE4AU);
constexpr HRESULT WC_E_CDSECTEND = static_cast<HRESULT>(0xC00CEE4DU);
constexpr HRESULT WC_E_DTDPROHIBITED = static_cast<HRESULT>(0xC00CEE4FU);
// Failures of namespaces.
constexpr HRESULT NC_E_QNAMECHARACTER = static_cast<HRESULT>(0xC00CEE61U);
constexpr HRESULT NC_E_QNAMECOLON = static_cast<HRESULT>(0xC00CEE62U);
constexpr HRESULT NC_E_NAMECOLON = static_cast<HRESULT>(0xC00CEE63U);
constexpr HRESULT NC_E_UNDECLAREDPREFIX = static_cast<HRESULT>(0xC00CEE65U);
constexpr HRESULT NC_E_EMPTYURI = static_cast<HRESULT>(0xC00CEE66U);
constexpr HRESULT NC_E_XMLPREFIXRESERVED = static_cast<HRESULT>(0xC00CEE67U);
constexpr HRESULT NC_E_XMLNSPREFIXRESERVED = static_cast<HRESULT>(0xC00CEE68U);
constexpr HRESULT NC_E_XMLURIRESERVED = static_cast<HRESULT>(0xC00CEE69U);
constexpr HRESULT NC_E_XMLNSURIRESERVED = static_cast<HRESULT>(0xC00CEE6AU);
// Limits.
constexpr HRESULT SC_E_MAXELEMENTDEPTH = static_cast<HRESULT>(0xC00CEE81U);
constexpr HRESULT SC_E_MAXENTITYEXPANSION = static_cast<HRESULT>(0xC00CEE82U);
// Failures of the writer.
constexpr HRESULT WR_E_WR = static_cast<HRESULT>(0xC00CEF00U);
constexpr HRESULT WR_E_DUPLICATEATTRIBUTE = static_cast<HRESULT>(0xC00CEF04U);
constexpr HRESULT WR_E_XMLURIDECLARATION = static_cast<HRESULT>(0xC00CEF07U);
constexpr HRESULT WR_E_XMLNSURIDECLARATION = static_cast<HRESULT>(0xC00CEF08U);
constexpr HRESULT WR_E_INVALIDACTION = static_cast<HRESULT>(0xC00CEF0BU); ///< not a legal call in this state
constexpr HRESULT WR_E_INVALIDSURROGATEPAIR = static_cast<HRESULT>(0xC00CEF0CU);

/// A forward-only reader. States: no input (Read is E_UNEXPECTED), walking, at the end (Read is S_FALSE with
/// XmlNodeType_None), failed (Read repeats the failure, the node is XmlNodeType_None). Getters of strings take null for
/// a length that is not wanted; a null pointer for the result itself is E_INVALIDARG.
struct IXmlReader : IUnknown
{
    /// Starts over with this input, which must answer for ISequentialStream; null takes the input away.
    virtual HRESULT STDMETHODCALLTYPE SetInput(IUnknown * input) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProperty(UINT property, LONG_PTR * value) = 0;
    /// E_INVALIDARG for an unknown property or a value that it cannot take.
    virtual HRESULT STDMETHODCALLTYPE SetProperty(UINT property, LONG_PTR value) = 0;
    /// Moves to the next node and stores its type (`type` may be null). Text between two other nodes is one node,
    /// entities resolved and line ends made LF: white space if it is nothing else and was written as it is, else text.
    virtual HRESULT STDMETHODCALLTYPE Read(XmlNodeType * type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNodeType(XmlNodeType * type) = 0;
    /// S_FALSE when there is none to move to; the cursor then stays.
    virtual HRESULT STDMETHODCALLTYPE MoveToFirstAttribute() = 0;
    virtual HRESULT STDMETHODCALLTYPE MoveToNextAttribute() = 0;
    virtual HRESULT STDMETHODCALLTYPE MoveToAttributeByName(LPCWSTR localName, LPCWSTR namespaceUri) = 0;
    /// Back from an attribute to its element; S_FALSE when the cursor is on none.
    virtual HRESULT STDMETHODCALLTYPE MoveToElement() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetQualifiedName(LPCWSTR * name, UINT * length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamespaceUri(LPCWSTR * uri, UINT * length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLocalName(LPCWSTR * name, UINT * length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPrefix(LPCWSTR * prefix, UINT * length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetValue(LPCWSTR * value, UINT * length) = 0;
    /// The next part of the value, at most `capacity` characters and no NUL. S_FALSE when nothing is left.
    virtual HRESULT STDMETHODCALLTYPE ReadValueChunk(LPWSTR buffer, UINT capacity, UINT * read) = 0;
    /// Always empty.
    virtual HRESULT STDMETHODCALLTYPE GetBaseUri(LPCWSTR * uri, UINT * length) = 0;
    /// Always FALSE: attributes can be defaulted by a document type only.
    virtual BOOL STDMETHODCALLTYPE IsDefault() = 0;
    virtual BOOL STDMETHODCALLTYPE IsEmptyElement() = 0;
    /// Line and column of the markup of the node, or of its element's, or of the fault, both from 1. 0 before the
    /// start. A column counts characters.
    virtual HRESULT STDMETHODCALLTYPE GetLineNumber(UINT * line) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLinePosition(UINT * column) = 0;
    /// 0 for anything but a start tag or the declaration.
    virtual HRESULT STDMETHODCALLTYPE GetAttributeCount(UINT * count) = 0;
    /// How many elements lie around a start tag or its content; one more for an attribute, and for an end tag.
    virtual HRESULT STDMETHODCALLTYPE GetDepth(UINT * depth) = 0;
    virtual BOOL STDMETHODCALLTYPE IsEOF() = 0;

protected:
    ~IXmlReader() = default;
};

/// A writer of one document. A failed call writes at most what it had accepted before the fault. Null names and empty
/// ones are E_INVALIDARG, others that are no XML names without a colon WC_E_NAMECHARACTER; a character that XML cannot
/// hold is WC_E_XMLCHARACTER, a lone surrogate WR_E_INVALIDSURROGATEPAIR; a call out of order is WR_E_INVALIDACTION; a
/// prefix or a namespace is E_NOTIMPL. Failures of the stream come back as they are.
struct IXmlWriter : IUnknown
{
    /// Starts a new document on a stream (ISequentialStream, as UTF-8) or on an output with an encoding of its own.
    /// Null detaches.
    virtual HRESULT STDMETHODCALLTYPE SetOutput(IUnknown * output) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProperty(UINT property, LONG_PTR * value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetProperty(UINT property, LONG_PTR value) = 0;
    /// Adds an attribute to the open start tag. A second one of the name is WR_E_DUPLICATEATTRIBUTE.
    virtual HRESULT STDMETHODCALLTYPE WriteAttributeString(LPCWSTR prefix, LPCWSTR localName, LPCWSTR namespaceUri,
                                                           LPCWSTR value) = 0;
    /// Closes all open elements. Nothing can be written then.
    virtual HRESULT STDMETHODCALLTYPE WriteEndDocument() = 0;
    /// Closes the element, in the short form if nothing was written into it.
    virtual HRESULT STDMETHODCALLTYPE WriteEndElement() = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteStartElement(LPCWSTR prefix, LPCWSTR localName, LPCWSTR namespaceUri) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteString(LPCWSTR text) = 0;
    /// Hands everything to the stream.
    virtual HRESULT STDMETHODCALLTYPE Flush() = 0;

protected:
    ~IXmlWriter() = default;
};

inline constexpr IID IID_IXmlReader{0x7279FC81, 0x709D, 0x4095, {0xB6, 0x3D, 0x69, 0xFE, 0x4B, 0x0D, 0x90, 0x30}};
inline constexpr IID IID_IXmlWriter{0x7279FC88, 0x709D, 0x4095, {0xB6, 0x3D, 0x69, 0xFE, 0x4B, 0x0D, 0x90, 0x30}};

namespace qvlib::host
{
template <>
inline constexpr IID kInterfaceId<IXmlReader> = IID_IXmlReader;
template <>
inline constexpr IID kInterfaceId<IXmlWriter> = IID_IXmlWriter;
} // namespace qvlib::host

/// What CreateXmlWriterOutputWithEncodingName makes; good for SetOutput only.
using IXmlWriterOutput = IUnknown;

/// Makes a reader. The allocator is not used. E_NOINTERFACE for another interface than IXmlReader or IUnknown.
QVLIB_API HRESULT CreateXmlReader(REFIID iid, void ** object, IMalloc * allocator);
/// Makes a writer with no output.
QVLIB_API HRESULT CreateXmlWriter(REFIID iid, void ** object, IMalloc * allocator);
/// Wraps a stream, which must answer for ISequentialStream, into an output of the named encoding: any that ICU knows;
/// null is UTF-8. "utf-16" is little-endian. MX_E_ENCODING for an unknown name. Characters outside the encoding are
/// written as character references in text and attribute values; a name with such a character is WC_E_NAMECHARACTER.
QVLIB_API HRESULT CreateXmlWriterOutputWithEncodingName(IUnknown * stream, IMalloc * allocator, LPCWSTR encoding,
                                                        IXmlWriterOutput ** output);

#endif
