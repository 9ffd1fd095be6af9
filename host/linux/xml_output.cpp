#include "host/linux/internal/xml_output.h"

#include "qvlib/host/utf16.h"
#include "qvlib/host/utf8.h"

#include <unicode/ucnv.h>
#include <unicode/uset.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace qvlib::host
{

namespace
{

// Names compare as ICU compares them: letters and digits alone, case aside.
bool SameName(char const * name, char const * known) { return ucnv_compareNames(name, known) == 0; }

} // namespace

void XmlOutput::Close::operator()(UConverter * converter) const noexcept { ucnv_close(converter); }

XmlOutput::~XmlOutput()
{
    if (m_stream)
        m_stream->Release();
}

HRESULT XmlOutput::Create(ISequentialStream * stream, wchar_t const * encoding, XmlOutput ** output)
{
    std::string name = encoding ? ToUtf8(encoding) : std::string("UTF-8");
    std::unique_ptr<XmlOutput, void (*)(XmlOutput *)> made(new XmlOutput, [](XmlOutput * o) { o->Release(); });
    if (SameName(name.c_str(), "UTF-8"))
    {
        made->m_form = XmlByteForm::utf8;
        name = "UTF-8";
    }
    else if (SameName(name.c_str(), "UTF-16") || SameName(name.c_str(), "UTF-16LE") || SameName(name.c_str(), "UCS-2"))
    {
        made->m_form = XmlByteForm::utf16Little;
        name = "UTF-16";
    }
    else if (SameName(name.c_str(), "UTF-16BE"))
    {
        made->m_form = XmlByteForm::utf16Big;
        name = "UTF-16BE";
    }
    else
    {
        // An empty name would give the converter of the process's locale.
        if (name.empty())
            return MX_E_ENCODING;
        made->m_form = XmlByteForm::converted;
        UErrorCode status = U_ZERO_ERROR;
        made->m_converter.reset(ucnv_open(name.c_str(), &status));
        if (U_FAILURE(status))
            return status == U_MEMORY_ALLOCATION_ERROR ? E_OUTOFMEMORY : MX_E_ENCODING;
        // The set of what the encoding holds, two ways: a character that only comes one way is not written.
        made->m_set = {uset_openEmpty(), [](void * set) { uset_close(static_cast<USet *>(set)); }};
        USet * const set = static_cast<USet *>(made->m_set.get());
        ucnv_getUnicodeSet(made->m_converter.get(), set, UCNV_ROUNDTRIP_SET, &status);
        if (U_FAILURE(status))
            return MX_E_ENCODING;
        made->m_unicode = uset_containsRange(set, 0x20, 0xD7FF) && uset_containsRange(set, 0xE000, 0x10FFFF);
    }
    made->m_name.assign(name.begin(), name.end());
    stream->AddRef();
    made->m_stream = stream;
    *output = made.release();
    return S_OK;
}

HRESULT XmlOutput::QueryInterface(REFIID iid, void ** object)
{
    if (!object)
        return E_INVALIDARG;
    *object = nullptr;
    if (!(iid == kInterfaceId<IUnknown> || iid == kXmlOutputId))
        return E_NOINTERFACE;
    *object = this;
    AddRef();
    return S_OK;
}

ULONG XmlOutput::AddRef() { return ++m_references; }

ULONG XmlOutput::Release()
{
    unsigned int const left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

bool XmlOutput::Holds(char32_t c) const noexcept
{
    return HoldsAll() || uset_contains(static_cast<USet const *>(m_set.get()), static_cast<UChar32>(c));
}

HRESULT XmlOutput::WriteBytes(char const * bytes, std::size_t count)
{
    while (count > 0)
    {
        ULONG const part = static_cast<ULONG>(std::min<std::size_t>(count, std::numeric_limits<std::int32_t>::max()));
        ULONG written = 0;
        HRESULT const result = m_stream->Write(bytes, part, &written);
        if (FAILED(result))
            return result;
        if (written == 0 || written > part)
            return E_FAIL;
        bytes += written;
        count -= written;
    }
    return S_OK;
}

HRESULT XmlOutput::WriteMark()
{
    switch (m_form)
    {
    case XmlByteForm::utf8:
        return WriteBytes("\xEF\xBB\xBF", 3);
    case XmlByteForm::utf16Little:
        return WriteBytes("\xFF\xFE", 2);
    case XmlByteForm::utf16Big:
        return WriteBytes("\xFE\xFF", 2);
    case XmlByteForm::converted:
        break;
    }
    return S_OK;
}

HRESULT XmlOutput::Write(std::wstring_view text)
{
    if (text.empty())
        return S_OK;
    if (m_form == XmlByteForm::utf8)
    {
        m_bytes.resize(Utf8Length(text.data(), text.size()));
        EncodeUtf8(text.data(), text.size(), m_bytes.data());
        return WriteBytes(m_bytes.data(), m_bytes.size());
    }
    if (m_form != XmlByteForm::converted)
    {
        m_bytes.resize(2 * Utf16Length(text.data(), text.size()));
        EncodeUtf16(text.data(), text.size(), reinterpret_cast<unsigned char *>(m_bytes.data()));
        if (m_form == XmlByteForm::utf16Big)
        {
            for (std::size_t i = 0; i + 1 < m_bytes.size(); i += 2)
                std::swap(m_bytes[i], m_bytes[i + 1]);
        }
        return WriteBytes(m_bytes.data(), m_bytes.size());
    }
    std::u16string const units = ToUtf16(text);
    m_bytes.resize(
        static_cast<std::size_t>(UCNV_GET_MAX_BYTES_FOR_STRING(units.size(), ucnv_getMaxCharSize(m_converter.get()))));
    char * out = m_bytes.data();
    UChar const * in = units.data();
    UErrorCode status = U_ZERO_ERROR;
    // Not the end of the text: an encoding with states goes on where it is.
    ucnv_fromUnicode(m_converter.get(), &out, out + m_bytes.size(), &in, in + units.size(), nullptr, false, &status);
    if (U_FAILURE(status))
        return WC_E_XMLCHARACTER;
    return WriteBytes(m_bytes.data(), static_cast<std::size_t>(out - m_bytes.data()));
}

} // namespace qvlib::host

HRESULT CreateXmlWriterOutputWithEncodingName(IUnknown * stream, IMalloc *, LPCWSTR encoding,
                                              IXmlWriterOutput ** output)
{
    if (!output)
        return E_INVALIDARG;
    *output = nullptr;
    if (!stream)
        return E_INVALIDARG;
    void * found = nullptr;
    HRESULT result = stream->QueryInterface(qvlib::host::kInterfaceId<ISequentialStream>, &found);
    if (FAILED(result))
        return result;
    ISequentialStream * const sequential = static_cast<ISequentialStream *>(found);
    try
    {
        qvlib::host::XmlOutput * made = nullptr;
        result = qvlib::host::XmlOutput::Create(sequential, encoding, &made);
        *output = made;
    }
    catch (std::bad_alloc const &)
    {
        result = E_OUTOFMEMORY;
    }
    sequential->Release();
    return result;
}
