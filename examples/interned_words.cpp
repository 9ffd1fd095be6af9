// Interned words: the words of a large text in the shared value heap, and the memory that this saves.
//
// The text is made up of the terms of words.txt. Each of its words is kept twice: as a string of its own, and as a
// handle on the one copy that all equal words share.

#include "example.h"

#include <qvlib/SharedValueHeap.h>

#include <set>
#include <vector>

namespace
{

constexpr std::size_t kWords = 200000;

std::vector<std::wstring> Terms()
{
    std::ifstream file(EXAMPLE_METADATA "/../words.txt");
    std::vector<std::wstring> terms;
    for (std::string line; std::getline(file, line);)
        terms.emplace_back(qvlib::AsCStringFromUtf8(line));
    return terms;
}

/// What a string takes: itself, and its characters where they do not fit into it.
std::size_t BytesOf(std::wstring const & text)
{
    std::size_t const within = std::wstring().capacity();
    return sizeof text + (text.size() > within ? (text.size() + 1) * sizeof(wchar_t) : 0);
}

} // namespace

int main()
{
    std::vector<std::wstring> const terms = Terms();
    std::vector<std::wstring> strings;
    std::vector<qvlib::CSharedWideString> handles;
    std::uint32_t random = 1;
    for (std::size_t i = 0; i < kWords; ++i)
    {
        random = random * 1664525 + 1013904223;
        strings.push_back(terms[(random >> 16) % terms.size()]);
        handles.emplace_back(strings.back());
    }

    std::size_t plain = 0;
    for (std::wstring const & text : strings)
        plain += BytesOf(text);
    std::set<std::wstring const *> copies;
    std::size_t shared = 0;
    for (qvlib::CSharedWideString const & handle : handles)
    {
        shared += sizeof handle;
        if (copies.insert(&*handle).second)
            shared += BytesOf(*handle);
    }
    std::cout << "words: " << handles.size() << ", distinct: " << copies.size() << '\n';
    std::cout << "as strings: " << plain / 1024 << " KB, shared: " << shared / 1024 << " KB\n";

    // Equal words are the same entry, so that counting one word compares pointers.
    qvlib::CSharedWideString const carrier(L"Carrier");
    long count = 0;
    for (qvlib::CSharedWideString const & handle : handles)
        count += handle == carrier ? 1 : 0;
    std::cout << "\"Carrier\": " << count << " times, " << carrier.GetUseCount() << " handles\n";
}
