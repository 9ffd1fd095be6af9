// Bytes to Base64 and back are the same bytes, in every form; and any text decodes to something that, encoded and
// decoded again, stays what it is, whether the room was counted first or is ample.
#include "foundation/Base64.cpp" // the library does not export its coder: the target has its own copy

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using namespace qvlib::internal;

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

std::vector<unsigned char> Decode(std::vector<wchar_t> const & text)
{
    std::size_t size = 0;
    Require(!Base64Decode(text.data(), text.size(), nullptr, &size));
    std::vector<unsigned char> exact(size + 1); // never null, and the sanitizer watches its end
    Require(Base64Decode(text.data(), text.size(), exact.data(), &size));
    exact.resize(size);
    std::vector<unsigned char> ample(text.size() + 2);
    std::size_t written = ample.size();
    Require(Base64Decode(text.data(), text.size(), ample.data(), &written));
    ample.resize(written);
    Require(ample == exact);
    return exact;
}

void RoundTrip(std::vector<unsigned char> bytes)
{
    std::size_t const length = bytes.size();
    bytes.reserve(1); // never null
    for (unsigned flags = 0; flags < 4; ++flags)
    {
        std::vector<wchar_t> text(Base64EncodedSize(length, flags));
        text.reserve(1);
        std::size_t size = text.size();
        Require(Base64Encode(bytes.data(), length, text.data(), &size, flags));
        Require(size <= text.size());
        Require(size == 0 || text[size - 1] != L'\n');
        text.resize(size);
        text.push_back(0); // never null either
        Require(Decode(text) == bytes);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    RoundTrip({data, data + size});
    std::vector<wchar_t> text(data, data + size);
    text.push_back(static_cast<wchar_t>(0x1F600)); // far outside the alphabet
    RoundTrip(Decode(text));
    return 0;
}
