// The values of a CRegistry's key, by their types.
#include "qvlib/Registry.h"

#include "qvlib/framework/file.h"
#include "qvlib/host/utf16.h"

#include <cstdint>
#include <cstring>
#include <cwchar>
#include <limits>
#include <vector>

namespace qvlib
{

namespace
{

constexpr DWORD kTextBuffer = 510; ///< bytes of text that are read without a second query

/// Reads a value of at most the number's size, whatever its type; missing bytes are 0.
template <class Number>
bool ReadNumber(HKEY key, wchar_t const * name, Number & value)
{
    Number number{};
    DWORD size = sizeof number;
    if (RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE *>(&number), &size) != ERROR_SUCCESS)
        return false;
    value = number;
    return true;
}

bool Write(HKEY key, wchar_t const * name, DWORD type, void const * data, std::size_t size)
{
    return size <= std::numeric_limits<DWORD>::max() &&
           RegSetValueExW(key, name, 0, type, static_cast<BYTE const *>(data), static_cast<DWORD>(size)) ==
               ERROR_SUCCESS;
}

/// The bytes of a text value: in a buffer of its own, or in a longer one when they do not fit.
class TextValue
{
public:
    bool Read(HKEY key, wchar_t const * name, DWORD wantedType)
    {
        DWORD type = REG_NONE;
        m_size = kTextBuffer;
        LSTATUS status = RegQueryValueExW(key, name, nullptr, &type, m_buffer, &m_size);
        // Again and again only while somebody makes the value longer.
        for (m_data = m_buffer; status == ERROR_MORE_DATA && type == wantedType;)
        {
            m_long.resize(m_size);
            m_data = m_long.data();
            status = RegQueryValueExW(key, name, nullptr, &type, m_long.data(), &m_size);
        }
        return status == ERROR_SUCCESS && type == wantedType;
    }

    /// The text as it stands, terminators included if they were stored. An odd byte at the end is no character.
    CQVString Text() const
    {
        CQVString text;
        std::size_t const units = m_size / 2;
        if (units == 0)
            return text;
        // Never more characters than units.
        wchar_t * const out = text.GetBuffer(static_cast<int>(units));
        text.ReleaseBuffer(static_cast<int>(host::DecodeUtf16(m_data, units, out)));
        return text;
    }

private:
    BYTE m_buffer[kTextBuffer];
    std::vector<BYTE> m_long;
    BYTE const * m_data = m_buffer;
    DWORD m_size = 0;
};

/// UTF-16 bytes, short ones without an allocation.
class TextBytes
{
public:
    void Append(wchar_t const * text, std::size_t length)
    {
        std::size_t const bytes = 2 * (host::Utf16Length(text, length) + 1);
        if (m_size + bytes > m_room)
        {
            std::vector<BYTE> longer(2 * (m_size + bytes));
            std::memcpy(longer.data(), m_data, m_size);
            m_long.swap(longer);
            m_data = m_long.data();
            m_room = m_long.size();
        }
        host::EncodeUtf16(text, length, m_data + m_size);
        m_size += bytes;
        m_data[m_size - 2] = m_data[m_size - 1] = 0;
    }
    BYTE const * Data() const { return m_data; }
    std::size_t Size() const { return m_size; }

private:
    BYTE m_buffer[kTextBuffer];
    std::vector<BYTE> m_long;
    BYTE * m_data = m_buffer;
    std::size_t m_room = sizeof m_buffer;
    std::size_t m_size = 0;
};

template <class List>
bool WriteList(CRegistry & registry, wchar_t const * name, List const & list)
{
    CStringArray texts;
    for (POSITION at = list.GetHeadPosition(); at != nullptr;)
        texts.Add(list.GetNext(at));
    return registry.SetValue(name, texts);
}

} // namespace

bool CRegistry::GetValue(wchar_t const * name, unsigned long & value) const
{
    std::uint32_t number;
    bool const read = ReadNumber(OpenKey(), name, number);
    if (read)
        value = number;
    return read;
}

bool CRegistry::GetValue(wchar_t const * name, long & value) const
{
    std::int32_t number;
    bool const read = ReadNumber(OpenKey(), name, number);
    if (read)
        value = number;
    return read;
}

bool CRegistry::GetValue(wchar_t const * name, unsigned int & value) const
{
    return ReadNumber(OpenKey(), name, value);
}

bool CRegistry::GetValue(wchar_t const * name, int & value) const { return ReadNumber(OpenKey(), name, value); }

bool CRegistry::GetValue(wchar_t const * name, bool & value) const
{
    std::uint32_t number;
    bool const read = ReadNumber(OpenKey(), name, number);
    if (read)
        value = number != 0;
    return read;
}

bool CRegistry::GetValue(wchar_t const * name, float & value) const { return ReadNumber(OpenKey(), name, value); }

bool CRegistry::GetValue(wchar_t const * name, double & value) const { return ReadNumber(OpenKey(), name, value); }

bool CRegistry::GetValue(wchar_t const * name, CQVString & value) const
{
    TextValue stored;
    if (!stored.Read(OpenKey(), name, REG_SZ))
        return false;
    CQVString text = stored.Text();
    int const end = text.Find(L'\0');
    if (end >= 0)
        text.Truncate(end);
    value = std::move(text);
    return true;
}

bool CRegistry::GetValue(wchar_t const * name, void * data, unsigned long & size) const
{
    constexpr unsigned long kMost = std::numeric_limits<DWORD>::max();
    auto count = static_cast<DWORD>(size < kMost ? size : kMost);
    LSTATUS const status = RegQueryValueExW(OpenKey(), name, nullptr, nullptr, static_cast<BYTE *>(data), &count);
    if (status == ERROR_SUCCESS || status == ERROR_MORE_DATA)
        size = count;
    return status == ERROR_SUCCESS;
}

bool CRegistry::GetValue(wchar_t const * name, CStringArray & value) const
{
    TextValue stored;
    if (!stored.Read(OpenKey(), name, REG_MULTI_SZ))
        return false;
    CQVString const texts = stored.Text();
    wchar_t const * at = texts.GetString();
    wchar_t const * const end = at + texts.GetLength();
    while (at != end && *at != L'\0')
    {
        CQVString const text(at); // the last one ends with the string, if not before
        value.Add(text);
        at += text.GetLength();
        if (at != end)
            ++at;
    }
    return true;
}

// Kept on purpose, callers depend on it: these three tell false when there was a list to read, deliver it to nobody,
// and tell true when there was none.

bool CRegistry::GetValue(wchar_t const * name, [[maybe_unused]] CStringList & value) const
{
    CStringArray read;
    return !GetValue(name, read);
}

bool CRegistry::GetValue(wchar_t const * name, [[maybe_unused]] CArray<CQVString> & value) const
{
    CStringArray read;
    return !GetValue(name, read);
}

bool CRegistry::GetValue(wchar_t const * name, [[maybe_unused]] CList<CQVString> & value) const
{
    CStringArray read;
    return !GetValue(name, read);
}

bool CRegistry::GetValue(wchar_t const * name, CFile & file) const
{
    try
    {
        DWORD size = 0;
        LSTATUS status = RegQueryValueExW(OpenKey(), name, nullptr, nullptr, nullptr, &size);
        bool const direct = file.GetBufferPtr(CFile::bufferCheck) == CFile::bufferDirect;
        std::vector<BYTE> bytes;
        while (status == ERROR_SUCCESS)
        {
            void * start = nullptr;
            void * stop = nullptr;
            if (direct && size != 0)
                file.GetBufferPtr(CFile::bufferWrite, size, &start, &stop);
            else
            {
                bytes.resize(size + 1U); // never empty, so that there is an address
                start = bytes.data();
            }
            status = RegQueryValueExW(OpenKey(), name, nullptr, nullptr, static_cast<BYTE *>(start), &size);
            if (status == ERROR_MORE_DATA)
            {
                status = ERROR_SUCCESS; // longer by now
                continue;
            }
            if (status != ERROR_SUCCESS)
                break;
            if (start != bytes.data())
                file.GetBufferPtr(CFile::bufferCommit, size);
            else if (size != 0)
                file.Write(start, size);
            return true;
        }
        return false;
    }
    catch (CException const &)
    {
        return false;
    }
}

bool CRegistry::SetValue(wchar_t const * name, unsigned long value)
{
    constexpr unsigned long kMost = std::numeric_limits<std::uint32_t>::max();
    if (value > kMost && value != std::numeric_limits<unsigned long>::max())
        return false;
    return SetValue(name, static_cast<unsigned int>(value));
}

bool CRegistry::SetValue(wchar_t const * name, long value)
{
    if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max())
        return false;
    return SetValue(name, static_cast<int>(value));
}

bool CRegistry::SetValue(wchar_t const * name, unsigned int value)
{
    return Write(OpenKey(), name, REG_DWORD, &value, sizeof value);
}

bool CRegistry::SetValue(wchar_t const * name, int value)
{
    return Write(OpenKey(), name, REG_DWORD, &value, sizeof value);
}

bool CRegistry::SetValue(wchar_t const * name, bool value) { return SetValue(name, value ? 1U : 0U); }

bool CRegistry::SetValue(wchar_t const * name, float value)
{
    return Write(OpenKey(), name, REG_BINARY, &value, sizeof value);
}

bool CRegistry::SetValue(wchar_t const * name, double value)
{
    return Write(OpenKey(), name, REG_BINARY, &value, sizeof value);
}

bool CRegistry::SetValue(wchar_t const * name, wchar_t const * value)
{
    TextBytes bytes;
    bytes.Append(value, value != nullptr ? std::wcslen(value) : 0);
    return Write(OpenKey(), name, REG_SZ, bytes.Data(), bytes.Size());
}

bool CRegistry::SetValue(wchar_t const * name, void const * data, unsigned long size)
{
    return Write(OpenKey(), name, REG_BINARY, data, size);
}

bool CRegistry::SetValue(wchar_t const * name, CStringArray const & value)
{
    TextBytes bytes;
    for (INT_PTR i = 0; i < value.GetCount(); ++i)
        bytes.Append(value[i].GetString(), std::wcslen(value[i].GetString()));
    bytes.Append(L"", 0);
    return Write(OpenKey(), name, REG_MULTI_SZ, bytes.Data(), bytes.Size());
}

bool CRegistry::SetValue(wchar_t const * name, CStringList const & value) { return WriteList(*this, name, value); }

bool CRegistry::SetValue(wchar_t const * name, CArray<CQVString> const & value)
{
    CStringArray texts;
    for (INT_PTR i = 0; i < value.GetCount(); ++i)
        texts.Add(value[i]);
    return SetValue(name, texts);
}

bool CRegistry::SetValue(wchar_t const * name, CList<CQVString> const & value) { return WriteList(*this, name, value); }

bool CRegistry::SetValue(wchar_t const * name, CFile & file)
{
    try
    {
        ULONGLONG const length = file.GetLength();
        if (length > std::numeric_limits<DWORD>::max())
            return false;
        auto const size = static_cast<UINT>(length);
        file.SeekToBegin();
        if (size != 0 && file.GetBufferPtr(CFile::bufferCheck) == CFile::bufferDirect)
        {
            void * start = nullptr;
            void * stop = nullptr;
            UINT const count = file.GetBufferPtr(CFile::bufferRead, size, &start, &stop);
            return count == size && Write(OpenKey(), name, REG_BINARY, start, size);
        }
        std::vector<BYTE> bytes(size);
        return file.Read(bytes.data(), size) == size && Write(OpenKey(), name, REG_BINARY, bytes.data(), size);
    }
    catch (CException const &)
    {
        return false;
    }
}

bool CRegistry::GetBool(wchar_t const * name, bool fallback) const
{
    GetValue(name, fallback);
    return fallback;
}

int CRegistry::GetInteger(wchar_t const * name, int fallback) const
{
    GetValue(name, fallback);
    return fallback;
}

unsigned int CRegistry::GetUInteger(wchar_t const * name, unsigned int fallback) const
{
    GetValue(name, fallback);
    return fallback;
}

long CRegistry::GetLong(wchar_t const * name, long fallback) const
{
    GetValue(name, fallback);
    return fallback;
}

unsigned long CRegistry::GetULong(wchar_t const * name, unsigned long fallback) const
{
    GetValue(name, fallback);
    return fallback;
}

float CRegistry::GetFloat(wchar_t const * name, float fallback) const
{
    GetValue(name, fallback);
    return fallback;
}

double CRegistry::GetDouble(wchar_t const * name, double fallback) const
{
    GetValue(name, fallback);
    return fallback;
}

CQVString CRegistry::GetString(wchar_t const * name, wchar_t const * fallback) const
{
    CQVString text;
    return GetValue(name, text) ? text : CQVString(fallback);
}

bool CRegistry::GetStructure(wchar_t const * name, void * buffer, unsigned long size) const
{
    unsigned long stored = size;
    return GetValue(name, buffer, stored) && stored == size;
}

void CRegistry::GetStringArray(wchar_t const * name, CStringArray & value, wchar_t const * fallback) const
{
    if (!GetValue(name, value))
        value.Add(fallback);
}

void CRegistry::GetStringArray(wchar_t const * name, CArray<CQVString> & value, wchar_t const * fallback) const
{
    if (!GetValue(name, value))
        value.Add(fallback);
}

void CRegistry::GetStringList(wchar_t const * name, CStringList & value, wchar_t const * fallback) const
{
    if (!GetValue(name, value))
        value.AddTail(fallback);
}

void CRegistry::GetStringList(wchar_t const * name, CList<CQVString> & value, wchar_t const * fallback) const
{
    if (!GetValue(name, value))
        value.AddTail(fallback);
}

} // namespace qvlib
