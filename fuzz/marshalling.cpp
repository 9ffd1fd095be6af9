// Variant records from any bytes: what was read is written, and reads back the same; passing over a record leaves the
// stream where reading it does.
#include <qvlib/Marshalling.h>
#include <qvlib/Variant.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace
{

using namespace qvlib;
using Bytes = std::vector<std::uint8_t>;
using Stream = _com_ptr_t<IStream>;

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

ULONGLONG Move(Stream const & stream, LONGLONG distance, DWORD origin)
{
    LARGE_INTEGER move;
    move.QuadPart = distance;
    ULARGE_INTEGER position{};
    Require(stream->Seek(move, origin, &position) == S_OK);
    return position.QuadPart;
}

Stream Written(tagVARIANT const & value)
{
    Stream stream(SHCreateMemStream(nullptr, 0), false);
    unsigned long size = 0;
    Require(CMarshalHelper::GetVariantSizeForMarshalling(value, size, MSHCTX_INPROC, nullptr, MSHLFLAGS_NORMAL) == 0);
    Require(CMarshalHelper::WriteVariantForMarshalling(value, stream, MSHCTX_INPROC, nullptr, MSHLFLAGS_NORMAL) == 0);
    Require(Move(stream, 0, STREAM_SEEK_CUR) == size);
    Move(stream, 0, STREAM_SEEK_SET);
    return stream;
}

Bytes All(Stream const & stream)
{
    Bytes bytes(static_cast<std::size_t>(Move(stream, 0, STREAM_SEEK_END)));
    Move(stream, 0, STREAM_SEEK_SET);
    ULONG read = 0;
    Require(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read) == S_OK && read == bytes.size());
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    Stream const stream(SHCreateMemStream(data, static_cast<UINT>(size)), false);
    qrvariant_t read;
    long const result = CMarshalHelper::ReadVariantFromMarshalling(read, stream);
    ULONGLONG const end = Move(stream, 0, STREAM_SEEK_CUR);
    Move(stream, 0, STREAM_SEEK_SET);
    long const released = CMarshalHelper::ReleaseVariantFromMarshalling(stream);
    if (result != 0)
        return 0;
    Require(released == 0 && Move(stream, 0, STREAM_SEEK_CUR) == end);
    Stream const written = Written(read);
    qrvariant_t again;
    Require(CMarshalHelper::ReadVariantFromMarshalling(again, written) == 0);
    Require(All(Written(again)) == All(written));
    return 0;
}
