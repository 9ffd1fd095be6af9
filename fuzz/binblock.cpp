// Any bytes as the file form of a blob: both ways of reading agree, a block that reads is written again as it was, and
// one that does not leaves the blob as it was.
#include "qvlib/Blob.h"
#include "qvlib/framework/memfile.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace
{

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    std::vector<BYTE> bytes(data, data + size);
    CMemFile file(bytes.data(), static_cast<UINT>(size));
    qvlib::CBlob const old("old", 3);
    qvlib::CBlob blob = old;
    bool const read = blob.ReadFromFile(file);
    ULONGLONG const end = file.GetPosition();
    Require(read || blob == old);

    file.SeekToBegin();
    STGMEDIUM medium = old.ToStgMedium();
    Require(qvlib::CBlob::ReadFromFile(file, medium) == read);
    Require(qvlib::CBlob(medium) == blob);
    qvlib::CBlob::FreeStgMedium(medium);
    if (read)
    {
        CMemFile again;
        Require(blob.WriteToFile(again));
        Require(again.GetLength() == end && std::memcmp(again.GetData(), data, end) == 0);
    }
    return 0;
}
