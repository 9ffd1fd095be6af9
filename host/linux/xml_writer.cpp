#include "host/internal/xml_events.h"
#include "host/linux/internal/xml_escape.h"
#include "host/linux/internal/xml_names.h"
#include "host/linux/internal/xml_output.h"
#include "qvlib/detail/counted.h"

#include <exception>
#include <new>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace qvlib::host
{

namespace
{

// What is gathered before the stream gets it.
constexpr std::size_t kBuffered = 8 * 1024;

// From here on names of attributes are looked up instead of compared one by one.
constexpr std::size_t kComparedNames = 16;

enum class State
{
    noOutput,
    fresh,   // nothing written yet
    tag,     // in a start tag
    content, // between tags of an element
    epilog,  // behind the root
    ended
};

class XmlWriter final : public detail::Counted<IXmlWriter, IXmlWideOutput>
{
public:
    HRESULT STDMETHODCALLTYPE SetOutput(IUnknown * output) override
    {
        Detach();
        if (!output)
            return S_OK;
        void * own = nullptr;
        if (SUCCEEDED(output->QueryInterface(kXmlOutputId, &own)))
        {
            m_output = static_cast<XmlOutput *>(own);
        }
        else
        {
            IXmlWriterOutput * wrapped = nullptr;
            HRESULT const result = CreateXmlWriterOutputWithEncodingName(output, nullptr, nullptr, &wrapped);
            if (FAILED(result))
                return result;
            m_output = static_cast<XmlOutput *>(wrapped);
        }
        m_text = &m_buffer;
        m_state = State::fresh;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetWideOutput(std::wstring * text) override
    {
        Detach();
        if (!text)
            return S_OK;
        return Guarded(
            [&]
            {
                m_names.reserve(128);
                m_open.reserve(16);
                m_text = text;
                m_state = State::fresh;
                return S_OK;
            });
    }

    HRESULT STDMETHODCALLTYPE GetProperty(UINT property, LONG_PTR * value) override
    {
        bool const * const found = Property(property);
        if (!found || !value)
            return E_INVALIDARG;
        *value = *found ? TRUE : FALSE;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetProperty(UINT property, LONG_PTR value) override
    {
        bool * const found = Property(property);
        if (!found)
            return E_INVALIDARG;
        *found = value != 0;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE WriteStartElement(LPCWSTR prefix, LPCWSTR localName, LPCWSTR namespaceUri) override
    {
        if (IsGiven(prefix) || IsGiven(namespaceUri))
            return E_NOTIMPL;
        return StartElement(localName ? std::wstring_view(localName) : std::wstring_view());
    }
    HRESULT STDMETHODCALLTYPE StartElement(std::wstring_view name) override
    {
        return Guarded(
            [&]
            {
                if (m_state != State::fresh && m_state != State::tag && m_state != State::content)
                    return WR_E_INVALIDACTION;
                HRESULT const named = CheckName(name);
                if (FAILED(named))
                    return named;
                if (m_state == State::fresh)
                    Open();
                else
                    CloseTag();
                if (!m_open.empty())
                {
                    m_open.back().children = true;
                    NewLine(m_open.back());
                }
                m_open.push_back({name.size(), false, false});
                m_names.append(name);
                m_text->push_back(L'<');
                m_text->append(name);
                m_attributes.clear();
                m_attributeNames.clear();
                m_state = State::tag;
                return Spill();
            });
    }

    HRESULT STDMETHODCALLTYPE WriteAttributeString(LPCWSTR prefix, LPCWSTR localName, LPCWSTR namespaceUri,
                                                   LPCWSTR value) override
    {
        if (IsGiven(prefix) || IsGiven(namespaceUri))
            return E_NOTIMPL;
        return AddAttribute(localName ? std::wstring_view(localName) : std::wstring_view(),
                            value ? std::wstring_view(value) : std::wstring_view(), true);
    }
    HRESULT STDMETHODCALLTYPE Attribute(std::wstring_view name, std::wstring_view value) override
    {
        return AddAttribute(name, value, false);
    }

    HRESULT STDMETHODCALLTYPE WriteString(LPCWSTR text) override
    {
        return Text(text ? std::wstring_view(text) : std::wstring_view());
    }
    HRESULT STDMETHODCALLTYPE Text(std::wstring_view text) override
    {
        return Guarded(
            [&]
            {
                if (m_state != State::tag && m_state != State::content)
                    return WR_E_INVALIDACTION;
                CloseTag();
                if (text.empty())
                    return S_OK;
                m_open.back().text = true;
                // What stands before a fault has been written.
                HRESULT const result = AppendXmlEscaped(*m_text, text, false, m_output);
                HRESULT const spilled = Spill();
                return FAILED(result) ? result : spilled;
            });
    }

    HRESULT STDMETHODCALLTYPE WriteEndElement() override
    {
        return Guarded(
            [&]
            {
                if (m_state != State::tag && m_state != State::content)
                    return WR_E_INVALIDACTION;
                CloseElement();
                return Spill();
            });
    }

    HRESULT STDMETHODCALLTYPE WriteEndDocument() override
    {
        return Guarded(
            [&]
            {
                if (m_state != State::tag && m_state != State::content && m_state != State::epilog)
                    return WR_E_INVALIDACTION;
                while (!m_open.empty())
                    CloseElement();
                m_state = State::ended;
                return Spill();
            });
    }

    HRESULT STDMETHODCALLTYPE Flush() override
    {
        return Guarded([&] { return SpillAll(); });
    }

private:
    struct OpenElement
    {
        std::size_t nameLength;
        bool children;
        bool text;
    };

    ~XmlWriter() override { Detach(); }

    // An exception must not leave through the interface.
    template <class Work>
    static HRESULT Guarded(Work work) noexcept
    {
        try
        {
            return work();
        }
        catch (std::exception const &)
        {
            return E_OUTOFMEMORY;
        }
    }

    void Detach() noexcept
    {
        if (m_output)
            m_output->Release();
        m_output = nullptr;
        m_text = nullptr;
        m_buffer.clear();
        m_names.clear();
        m_open.clear();
        m_attributes.clear();
        m_attributeNames.clear();
        m_owesMark = false;
        m_state = State::noOutput;
    }

    bool * Property(UINT property) noexcept
    {
        switch (property)
        {
        case XmlWriterProperty_Indent:
            return &m_indent;
        case XmlWriterProperty_ByteOrderMark:
            return &m_mark;
        case XmlWriterProperty_OmitXmlDeclaration:
            return &m_noDeclaration;
        default:
            return nullptr;
        }
    }

    static bool IsGiven(LPCWSTR text) noexcept { return text && *text != 0; }

    HRESULT CheckName(std::wstring_view name) const
    {
        if (name.empty())
            return E_INVALIDARG;
        if (!IsXmlPlainName(name))
            return WC_E_NAMECHARACTER;
        if (m_output && !m_output->HoldsAll())
        {
            for (wchar_t const c : name)
            {
                if (!m_output->Holds(static_cast<char32_t>(c)))
                    return WC_E_NAMECHARACTER;
            }
        }
        return S_OK;
    }

    HRESULT AddAttribute(std::wstring_view name, std::wstring_view value, bool perhapsTwin)
    {
        return Guarded(
            [&]
            {
                if (m_state != State::tag)
                    return WR_E_INVALIDACTION;
                HRESULT const named = CheckName(name);
                if (FAILED(named))
                    return named;
                if (name == L"xmlns")
                {
                    if (value == L"http://www.w3.org/XML/1998/namespace")
                        return WR_E_XMLURIDECLARATION;
                    if (value == L"http://www.w3.org/2000/xmlns/")
                        return WR_E_XMLNSURIDECLARATION;
                }
                // A value that turns out bad leaves nothing behind, not even its name.
                std::size_t const before = m_text->size();
                m_text->push_back(L' ');
                m_text->append(name);
                m_text->append(L"=\"", 2);
                HRESULT const escaped = AppendXmlEscaped(*m_text, value, true, m_output);
                if (FAILED(escaped) || (perhapsTwin && !Remember(name)))
                {
                    m_text->resize(before);
                    return FAILED(escaped) ? escaped : WR_E_DUPLICATEATTRIBUTE;
                }
                m_text->push_back(L'"');
                return Spill();
            });
    }

    // Whether the attribute is new to this tag; it is known from now on.
    bool Remember(std::wstring_view name)
    {
        std::size_t const count = m_attributes.size();
        if (count < kComparedNames)
        {
            for (auto const & [offset, length] : m_attributes)
            {
                if (std::wstring_view(m_attributeNames).substr(offset, length) == name)
                    return false;
            }
        }
        else
        {
            if (count == kComparedNames)
            {
                m_known.clear();
                for (auto const & [offset, length] : m_attributes)
                    m_known.insert(m_attributeNames.substr(offset, length));
            }
            if (!m_known.insert(std::wstring(name)).second)
                return false;
        }
        m_attributes.emplace_back(m_attributeNames.size(), name.size());
        m_attributeNames.append(name);
        return true;
    }

    void Open()
    {
        // The mark is a character of the text like any other, for every encoding that has it.
        if (m_output && m_mark)
            m_owesMark = true;
        if (m_noDeclaration)
            return;
        m_text->append(L"<?xml version=\"1.0\" encoding=\"");
        m_text->append(m_output ? m_output->Name() : std::wstring(L"UTF-16"));
        m_text->append(L"\"?>");
        if (m_indent)
            m_text->append(L"\r\n");
    }

    // A new line inside the element, unless it would become part of its text.
    void NewLine(OpenElement const & element)
    {
        if (!m_indent || element.text)
            return;
        m_text->append(L"\r\n");
        m_text->append(2 * m_open.size(), L' ');
    }

    void CloseTag()
    {
        if (m_state == State::tag)
            m_text->push_back(L'>');
        m_state = State::content;
    }

    void CloseElement()
    {
        OpenElement const element = m_open.back();
        m_open.pop_back();
        if (m_state == State::tag)
        {
            m_text->append(L" />", 3);
        }
        else
        {
            if (element.children)
                NewLine(element);
            m_text->append(L"</", 2);
            m_text->append(m_names, m_names.size() - element.nameLength, element.nameLength);
            m_text->push_back(L'>');
        }
        m_names.resize(m_names.size() - element.nameLength);
        m_state = m_open.empty() ? State::epilog : State::content;
    }

    // Hands a full buffer to the stream.
    HRESULT Spill()
    {
        if (m_text != &m_buffer || m_buffer.size() < kBuffered)
            return S_OK;
        return SpillAll();
    }

    HRESULT SpillAll()
    {
        if (!m_text)
            return WR_E_INVALIDACTION;
        if (!m_output)
            return S_OK;
        if (m_owesMark)
        {
            m_owesMark = false;
            HRESULT const result = m_output->WriteMark();
            if (FAILED(result))
                return result;
        }
        HRESULT const result = m_output->Write(m_buffer);
        m_buffer.clear();
        return result;
    }

    State m_state = State::noOutput;
    bool m_indent = false;
    bool m_mark = true;
    bool m_noDeclaration = false;
    bool m_owesMark = false;
    XmlOutput * m_output = nullptr;
    std::wstring m_buffer;
    std::wstring * m_text = nullptr; // the buffer, or the caller's string
    std::wstring m_names;            // of the open elements, one behind the other
    std::vector<OpenElement> m_open;
    std::wstring m_attributeNames; // of the open tag
    std::vector<std::pair<std::size_t, std::size_t>> m_attributes;
    std::unordered_set<std::wstring> m_known;
};

} // namespace

} // namespace qvlib::host

HRESULT CreateXmlWriter(REFIID iid, void ** object, IMalloc *)
{
    if (!object)
        return E_INVALIDARG;
    *object = nullptr;
    qvlib::host::XmlWriter * const writer = new (std::nothrow) qvlib::host::XmlWriter;
    if (!writer)
        return E_OUTOFMEMORY;
    HRESULT const result = static_cast<IXmlWriter *>(writer)->QueryInterface(iid, object);
    writer->Release();
    return result;
}
