#include "host/linux/internal/xml_tokens.h"

#include "qvlib/detail/counted.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <new>

namespace qvlib::host
{

namespace
{

// A text for a caller, made when it is asked for.
class WideCopy
{
public:
    void Forget() noexcept { m_made = false; }
    std::wstring const & Of(std::string_view utf8)
    {
        if (!m_made)
        {
            m_text.resize(utf8.size());
            m_text.resize(DecodeUtf8(utf8.data(), utf8.size(), m_text.data()));
            m_made = true;
        }
        return m_text;
    }

private:
    std::wstring m_text;
    bool m_made = false;
};

class XmlReader final : public detail::Counted<IXmlReader, IXmlEventReader>
{
public:
    HRESULT STDMETHODCALLTYPE SetInput(IUnknown * input) override
    {
        Restart();
        m_tokens.Input().Clear();
        if (!input)
            return S_OK;
        void * stream = nullptr;
        HRESULT const result = input->QueryInterface(kInterfaceId<ISequentialStream>, &stream);
        if (FAILED(result))
            return result;
        m_tokens.Input().SetStream(static_cast<ISequentialStream *>(stream));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetBytes(char const * data, std::size_t length) override
    {
        Restart();
        m_tokens.Input().SetBytes(data, length);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetWideText(wchar_t const * data, std::size_t length) override
    {
        Restart();
        m_tokens.Input().SetWideText(data, length);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetProperty(UINT property, LONG_PTR * value) override
    {
        if (!value)
            return E_INVALIDARG;
        switch (property)
        {
        case XmlReaderProperty_DtdProcessing:
            *value = DtdProcessing_Prohibit;
            return S_OK;
        case XmlReaderProperty_ReadState:
            *value = m_state;
            return S_OK;
        case XmlReaderProperty_MaxElementDepth:
            *value = static_cast<LONG_PTR>(m_tokens.MaxDepth());
            return S_OK;
        default:
            return E_INVALIDARG;
        }
    }
    HRESULT STDMETHODCALLTYPE SetProperty(UINT property, LONG_PTR value) override
    {
        switch (property)
        {
        case XmlReaderProperty_DtdProcessing:
            return value == DtdProcessing_Prohibit ? S_OK : E_INVALIDARG;
        case XmlReaderProperty_MaxElementDepth:
            if (value < 1 || value > static_cast<LONG_PTR>(XmlTokenizer::kMaxDepth))
                return E_INVALIDARG;
            m_tokens.SetMaxDepth(static_cast<unsigned int>(value));
            return S_OK;
        default:
            return E_INVALIDARG;
        }
    }

    HRESULT STDMETHODCALLTYPE Read(XmlNodeType * type) override
    {
        HRESULT const result = Step();
        if (type)
            *type = m_node ? m_node->type : XmlNodeType_None;
        return result;
    }

    HRESULT STDMETHODCALLTYPE Drive(XmlSink & sink) override
    {
        HRESULT const result = m_tokens.Drive(sink);
        m_node = nullptr;
        m_state = SUCCEEDED(result) ? XmlReadState_EndOfFile : XmlReadState_Error;
        return result;
    }

    HRESULT STDMETHODCALLTYPE GetNodeType(XmlNodeType * type) override
    {
        if (!type)
            return E_INVALIDARG;
        *type = !m_node ? XmlNodeType_None : m_attribute != kNoAttribute ? XmlNodeType_Attribute : m_node->type;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE MoveToFirstAttribute() override { return MoveTo(0); }
    HRESULT STDMETHODCALLTYPE MoveToNextAttribute() override
    {
        return MoveTo(m_attribute == kNoAttribute ? 0 : m_attribute + 1);
    }
    HRESULT STDMETHODCALLTYPE MoveToAttributeByName(LPCWSTR localName, LPCWSTR namespaceUri) override
    {
        if (!localName)
            return E_INVALIDARG;
        if (!m_node)
            return S_FALSE;
        try
        {
            std::string const name = ToUtf8(localName);
            std::string const uri = namespaceUri ? ToUtf8(namespaceUri) : std::string();
            for (std::size_t i = 0; i < m_node->attributeCount; ++i)
            {
                XmlAttribute const & attribute = m_tokens.Attributes(*m_node)[i];
                if (LocalName(attribute) == name && Uri(attribute.uri) == uri)
                    return MoveTo(i);
            }
            return S_FALSE;
        }
        catch (std::bad_alloc const &)
        {
            return E_OUTOFMEMORY;
        }
    }
    HRESULT STDMETHODCALLTYPE MoveToElement() override
    {
        if (m_attribute == kNoAttribute)
            return S_FALSE;
        m_attribute = kNoAttribute;
        Forget();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetQualifiedName(LPCWSTR * name, UINT * length) override
    {
        return Give(m_qualifiedName, name, length,
                    [this]
                    {
                        if (XmlAttribute const * const attribute = Attribute())
                            return m_tokens.Text(attribute->name, attribute->nameLength);
                        return m_node ? m_tokens.Text(m_node->name, m_node->nameLength) : std::string_view();
                    });
    }
    HRESULT STDMETHODCALLTYPE GetNamespaceUri(LPCWSTR * uri, UINT * length) override
    {
        return Give(m_namespaceUri, uri, length,
                    [this]() -> std::string_view
                    {
                        if (XmlAttribute const * const attribute = Attribute())
                            return Uri(attribute->uri);
                        return m_node ? Uri(m_node->uri) : std::string_view();
                    });
    }
    HRESULT STDMETHODCALLTYPE GetLocalName(LPCWSTR * name, UINT * length) override
    {
        return Give(m_localName, name, length,
                    [this]
                    {
                        if (XmlAttribute const * const attribute = Attribute())
                            return LocalName(*attribute);
                        if (!m_node)
                            return std::string_view();
                        std::size_t const skipped = m_node->prefixLength == 0 ? 0 : m_node->prefixLength + 1;
                        return m_tokens.Text(m_node->name, m_node->nameLength).substr(skipped);
                    });
    }
    HRESULT STDMETHODCALLTYPE GetPrefix(LPCWSTR * prefix, UINT * length) override
    {
        return Give(m_prefix, prefix, length,
                    [this]
                    {
                        if (XmlAttribute const * const attribute = Attribute())
                            return m_tokens.Text(attribute->name, attribute->prefixLength);
                        return m_node ? m_tokens.Text(m_node->name, m_node->prefixLength) : std::string_view();
                    });
    }
    HRESULT STDMETHODCALLTYPE GetValue(LPCWSTR * value, UINT * length) override
    {
        return Give(m_value, value, length, [this] { return Value(); });
    }
    HRESULT STDMETHODCALLTYPE ReadValueChunk(LPWSTR buffer, UINT capacity, UINT * read) override
    {
        if (!buffer || !read)
            return E_INVALIDARG;
        *read = 0;
        try
        {
            std::wstring const & value = m_value.Of(Value());
            if (m_chunked >= value.size())
                return S_FALSE;
            std::size_t const count = std::min<std::size_t>(capacity, value.size() - m_chunked);
            std::copy_n(value.data() + m_chunked, count, buffer);
            m_chunked += count;
            *read = static_cast<UINT>(count);
            return S_OK;
        }
        catch (std::bad_alloc const &)
        {
            return E_OUTOFMEMORY;
        }
    }
    HRESULT STDMETHODCALLTYPE GetBaseUri(LPCWSTR * uri, UINT * length) override
    {
        if (!uri)
            return E_INVALIDARG;
        *uri = L"";
        if (length)
            *length = 0;
        return S_OK;
    }

    BOOL STDMETHODCALLTYPE IsDefault() override { return FALSE; }
    BOOL STDMETHODCALLTYPE IsEmptyElement() override
    {
        return m_node && m_attribute == kNoAttribute && m_node->empty ? TRUE : FALSE;
    }
    HRESULT STDMETHODCALLTYPE GetLineNumber(UINT * line) override
    {
        if (!line)
            return E_INVALIDARG;
        *line = m_node ? m_node->line : m_tokens.FaultLine();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetLinePosition(UINT * column) override
    {
        if (!column)
            return E_INVALIDARG;
        *column = m_node ? m_node->column : m_tokens.FaultColumn();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetAttributeCount(UINT * count) override
    {
        if (!count)
            return E_INVALIDARG;
        *count = m_node ? static_cast<UINT>(m_node->attributeCount) : 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDepth(UINT * depth) override
    {
        if (!depth)
            return E_INVALIDARG;
        *depth = m_node ? m_node->depth + (m_attribute != kNoAttribute ? 1 : 0) : 0;
        return S_OK;
    }
    BOOL STDMETHODCALLTYPE IsEOF() override { return m_state == XmlReadState_EndOfFile ? TRUE : FALSE; }

private:
    static constexpr std::size_t kNoAttribute = static_cast<std::size_t>(-1);

    ~XmlReader() override = default;

    void Restart() noexcept
    {
        m_tokens.Reset();
        m_state = XmlReadState_Initial;
        m_node = nullptr;
        m_attribute = kNoAttribute;
        Forget();
    }

    HRESULT Step()
    {
        m_attribute = kNoAttribute;
        Forget();
        HRESULT const result = m_tokens.Next(m_node);
        if (result != S_OK)
        {
            m_node = nullptr;
            m_state = result == S_FALSE ? XmlReadState_EndOfFile : XmlReadState_Error;
        }
        else
        {
            m_state = XmlReadState_Interactive;
        }
        return result;
    }

    void Forget() noexcept
    {
        m_qualifiedName.Forget();
        m_localName.Forget();
        m_prefix.Forget();
        m_namespaceUri.Forget();
        m_value.Forget();
        m_chunked = 0;
    }

    HRESULT MoveTo(std::size_t index) noexcept
    {
        if (!m_node || index >= m_node->attributeCount)
            return S_FALSE;
        m_attribute = index;
        Forget();
        return S_OK;
    }

    XmlAttribute const * Attribute() const noexcept
    {
        return m_attribute == kNoAttribute ? nullptr : m_tokens.Attributes(*m_node) + m_attribute;
    }
    std::string_view LocalName(XmlAttribute const & attribute) const noexcept
    {
        std::string_view const name = m_tokens.Text(attribute.name, attribute.nameLength);
        return attribute.prefixLength == 0 ? name : name.substr(attribute.prefixLength + std::size_t{1});
    }
    std::string_view Value() const noexcept
    {
        if (XmlAttribute const * const attribute = Attribute())
            return m_tokens.Text(attribute->value, attribute->valueLength);
        return m_node ? m_tokens.Text(m_node->value, m_node->valueLength) : std::string_view();
    }
    std::string_view Uri(std::int32_t index) const
    {
        return index < 0 ? std::string_view() : std::string_view(m_tokens.Namespaces().Uri(index));
    }

    template <class Source>
    static HRESULT Give(WideCopy & copy, LPCWSTR * text, UINT * length, Source source) noexcept
    {
        if (!text)
            return E_INVALIDARG;
        try
        {
            std::wstring const & wide = copy.Of(source());
            *text = wide.c_str();
            if (length)
                *length = static_cast<UINT>(wide.size());
            return S_OK;
        }
        catch (std::bad_alloc const &)
        {
            *text = nullptr;
            return E_OUTOFMEMORY;
        }
    }

    XmlTokenizer m_tokens;
    XmlReadState m_state = XmlReadState_Initial;
    XmlNode const * m_node = nullptr;
    std::size_t m_attribute = kNoAttribute;
    WideCopy m_qualifiedName;
    WideCopy m_localName;
    WideCopy m_prefix;
    WideCopy m_namespaceUri;
    WideCopy m_value;
    std::size_t m_chunked = 0;
};

} // namespace

} // namespace qvlib::host

HRESULT CreateXmlReader(REFIID iid, void ** object, IMalloc *)
{
    if (!object)
        return E_INVALIDARG;
    *object = nullptr;
    qvlib::host::XmlReader * const reader = new (std::nothrow) qvlib::host::XmlReader;
    if (!reader)
        return E_OUTOFMEMORY;
    HRESULT const result = static_cast<IXmlReader *>(reader)->QueryInterface(iid, object);
    reader->Release();
    return result;
}
