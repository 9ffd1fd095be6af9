// The file form of a blob: "BINBLOCK" and a zero byte, a 4-byte little-endian length, the bytes.
#include "qvlib/Blob.h"
#include "qvlib/framework/file.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace qvlib
{

namespace
{

constexpr char kMagic[9] = "BINBLOCK";
constexpr UINT kFirstStep = 0x10000; // bytes taken on trust at most, before any of them has arrived

void WriteBlock(CFile & file, void const * bytes, std::uint32_t length)
{
    unsigned char head[sizeof kMagic + 4];
    std::memcpy(head, kMagic, sizeof kMagic);
    for (unsigned i = 0; i < 4; ++i)
        head[sizeof kMagic + i] = static_cast<unsigned char>(length >> (8 * i));
    file.Write(head, sizeof head);
    if (length != 0)
        file.Write(bytes, length);
}

bool ReadHead(CFile & file, std::uint32_t & length)
{
    char magic[sizeof kMagic];
    unsigned char bytes[4];
    if (file.Read(magic, sizeof magic) != sizeof magic || std::memcmp(magic, kMagic, sizeof magic) != 0)
        return false;
    if (file.Read(bytes, sizeof bytes) != sizeof bytes)
        return false;
    length = 0;
    for (unsigned i = 0; i < 4; ++i)
        length |= static_cast<std::uint32_t>(bytes[i]) << (8 * i);
    return true;
}

// Reads `length` bytes into memory that `grow(bytes, arrived, room)` makes and enlarges, keeping what has arrived. Room
// is made only as bytes arrive, so that a length that lies costs one step; the last room is exactly `length`.
template <class Grow>
bool ReadBytes(CFile & file, std::uint32_t length, Grow const & grow)
{
    std::uint32_t arrived = 0;
    while (arrived < length)
    {
        std::uint32_t const step = std::min(length - arrived, std::max(kFirstStep, arrived));
        unsigned char * const bytes = grow(arrived, arrived + step);
        if (bytes == nullptr || file.Read(bytes + arrived, step) != step)
            return false;
        arrived += step;
    }
    return true;
}

} // namespace

bool CBlob::WriteToFile(CFile & file) const
{
    WriteBlock(file, GetData(), static_cast<std::uint32_t>(GetSize()));
    return true;
}

bool CBlob::ReadFromFile(CFile & file)
{
    std::uint32_t length = 0;
    if (!ReadHead(file, length))
        return false;
    CBlob read;
    auto const grow = [&read](std::uint32_t, std::uint32_t room) { return read.GetBuffer(room); };
    if (!ReadBytes(file, length, grow))
        return false;
    Swap(read);
    return true;
}

bool CBlob::WriteToFile(CFile & file, STGMEDIUM const & medium)
{
    if (medium.tymed != TYMED_HGLOBAL)
        return false;
    SIZE_T const size = GlobalSize(medium.hGlobal);
    if (size > std::numeric_limits<std::uint32_t>::max())
        return false;
    void const * const bytes = GlobalLock(medium.hGlobal);
    struct Unlock
    {
        HGLOBAL handle;
        ~Unlock() { GlobalUnlock(handle); }
    } const unlock{medium.hGlobal};
    WriteBlock(file, bytes, static_cast<std::uint32_t>(size));
    return true;
}

bool CBlob::ReadFromFile(CFile & file, STGMEDIUM & medium)
{
    std::uint32_t length = 0;
    if (!ReadHead(file, length))
        return false;
    if (length == 0)
    {
        FreeStgMedium(medium);
        return true;
    }
    struct FreeBlock
    {
        void operator()(void * block) const { GlobalFree(block); }
    };
    std::unique_ptr<void, FreeBlock> block;
    auto const grow = [&block](std::uint32_t arrived, std::uint32_t room)
    {
        std::unique_ptr<void, FreeBlock> larger(GlobalAlloc(GMEM_MOVEABLE, room));
        auto * const bytes = static_cast<unsigned char *>(GlobalLock(larger.get()));
        if (bytes != nullptr)
        {
            GlobalUnlock(larger.get());
            if (arrived != 0)
            {
                std::memcpy(bytes, GlobalLock(block.get()), arrived);
                GlobalUnlock(block.get());
            }
            block.swap(larger);
        }
        return bytes;
    };
    if (!ReadBytes(file, length, grow))
        return false;
    FreeStgMedium(medium);
    medium = STGMEDIUM{};
    medium.tymed = TYMED_HGLOBAL;
    medium.hGlobal = block.release();
    return true;
}

} // namespace qvlib
