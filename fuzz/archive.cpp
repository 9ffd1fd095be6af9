// Any bytes as an archive of records, whose kinds the first bytes choose. What was read, written again, reads equal;
// and it does not matter whether the archive works on memory in place or through a buffer.
#include "qvlib/ArchiveSerialization.h"
#include "qvlib/GenericVal.h"
#include "qvlib/RectF.h"
#include "qvlib/framework/memfile.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

// A stream that hands out three bytes at a time and cannot be worked on in place.
class Stream : public CFile
{
public:
    explicit Stream(std::string bytes = {}) : m_bytes(std::move(bytes)) {}
    UINT Read(void * buffer, UINT count) override
    {
        auto const given = static_cast<UINT>(std::min<std::size_t>({count, 3, m_bytes.size() - m_position}));
        std::memcpy(buffer, m_bytes.data() + m_position, given);
        m_position += given;
        return given;
    }
    void Write(void const * buffer, UINT count) override { m_bytes.append(static_cast<char const *>(buffer), count); }
    std::string const & Bytes() const { return m_bytes; }

private:
    std::string m_bytes;
    std::size_t m_position = 0;
};

struct Record
{
    unsigned kind = 0;
    CString platformText;
    std::string narrow;
    std::wstring wide;
    _GUID guid{};
    qvlib::CDateTime date;
    qvlib::CTLRectF rect;
    qvlib::CGenericVal value;
    bool flag = false;
    short small = 0;
    long number = 0;
    unsigned __int64 large = 0;
    float real = 0;
    wchar_t character = 0;

    template <class... T>
    static void Transfer(CArchive & archive, T &... values)
    {
        if (archive.IsStoring())
            (archive << ... << values);
        else
            (archive >> ... >> values);
    }
    void Serialize(CArchive & archive)
    {
        switch (kind % 7)
        {
        case 0:
            return Transfer(archive, platformText);
        case 1:
            return static_cast<void>(qvlib::SerializeString(archive, narrow));
        case 2:
            return static_cast<void>(qvlib::SerializeString(archive, wide));
        case 3:
            return static_cast<void>(qvlib::SerializeGuid(archive, guid));
        case 4:
            return Transfer(archive, date, rect);
        case 5:
            return value.Serialize(archive);
        default:
            return Transfer(archive, flag, small, number, large, real, character);
        }
    }
};

// Reads records until the end, or until one is refused; gives what all of them are when written again.
std::string ReadAll(CFile & file, std::vector<unsigned> const & kinds)
{
    Stream written;
    CArchive out(&written, CArchive::store);
    CArchive in(&file, CArchive::load);
    try
    {
        for (unsigned const kind : kinds)
        {
            Record record;
            record.kind = kind;
            record.Serialize(in);
            record.Serialize(out);
        }
    }
    catch (CArchiveException const &)
    {
    }
    catch (CInvalidArgException const &)
    {
    }
    out.Close();
    return written.Bytes();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    std::size_t const count = size == 0 ? 0 : std::min<std::size_t>(data[0] % 8 + 1, size - 1);
    std::vector<unsigned> const kinds(data + (size != 0), data + (size != 0) + count);
    std::size_t const head = count + (size != 0);
    std::string bytes(reinterpret_cast<char const *>(data) + head, size - head);

    CMemFile memory(reinterpret_cast<BYTE *>(bytes.data()), static_cast<UINT>(bytes.size()));
    std::string const once = ReadAll(memory, kinds);
    Stream stream(bytes);
    Require(ReadAll(stream, kinds) == once);
    Stream again(once);
    Require(ReadAll(again, kinds) == once);
    return 0;
}
