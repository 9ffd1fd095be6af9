// Walking a tree of 100,000 files in 1,110 directories: all entries counted, and all of them with their paths as text.
// The peers are std::filesystem's recursive iterator, which keeps every path, and nftw, which looks at every file.

#include "qvlib/FileEnumerator.h"
#include "qvlib/FileSystem.h"
#include "qvlib/host/path.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <ftw.h>
#include <string>

namespace
{

namespace fs = std::filesystem;

// Made once, removed at the end: 10 directories in each of three levels, 90 files in each.
class Tree
{
public:
    Tree()
    {
        std::string path = (fs::temp_directory_path() / "qvlib-bench-XXXXXX").string();
        if (::mkdtemp(path.data()) == nullptr)
            std::abort();
        m_path = path;
        qvlib::FileSystem::PopulateDirectoryTree(Wide(), 3, 10, 90);
    }
    Tree(Tree const &) = delete;
    Tree & operator=(Tree const &) = delete;
    ~Tree() { fs::remove_all(m_path); }

    fs::path const & Path() const { return m_path; }
    qvlib::CQVString Wide() const { return qvlib::CQVString(qvlib::host::PlatformPath(m_path.string())); }

    static Tree const & Get()
    {
        static Tree const tree;
        return tree;
    }

private:
    fs::path m_path;
};

void Count_Qvlib(benchmark::State & state)
{
    qvlib::CQVString const root = Tree::Get().Wide();
    for (auto _ : state)
    {
        qvlib::FileEnumerator files(root, L"*", true);
        std::int64_t entries = 0;
        for (files.Reset(); files.MoveNext();)
            ++entries;
        benchmark::DoNotOptimize(entries);
        state.counters["entries"] = static_cast<double>(entries);
    }
}
BENCHMARK(Count_Qvlib)->Unit(benchmark::kMillisecond);

void Count_StdFilesystem(benchmark::State & state)
{
    fs::path const & root = Tree::Get().Path();
    for (auto _ : state)
    {
        std::int64_t entries = 0;
        for (auto at = fs::recursive_directory_iterator(root); at != fs::recursive_directory_iterator(); ++at)
            ++entries;
        benchmark::DoNotOptimize(entries);
        state.counters["entries"] = static_cast<double>(entries);
    }
}
BENCHMARK(Count_StdFilesystem)->Unit(benchmark::kMillisecond);

void Paths_Qvlib(benchmark::State & state)
{
    qvlib::CQVString const root = Tree::Get().Wide();
    for (auto _ : state)
    {
        qvlib::FileEnumerator files(root, L"*", true);
        std::int64_t characters = 0;
        for (files.Reset(); files.MoveNext();)
            characters += files.Current().GetFilePath().GetLength();
        benchmark::DoNotOptimize(characters);
    }
}
BENCHMARK(Paths_Qvlib)->Unit(benchmark::kMillisecond);

void Paths_StdFilesystem(benchmark::State & state)
{
    fs::path const & root = Tree::Get().Path();
    for (auto _ : state)
    {
        std::size_t characters = 0;
        for (auto const & entry : fs::recursive_directory_iterator(root))
            characters += entry.path().native().size();
        benchmark::DoNotOptimize(characters);
    }
}
BENCHMARK(Paths_StdFilesystem)->Unit(benchmark::kMillisecond);

std::size_t g_characters = 0;

void Paths_Nftw(benchmark::State & state)
{
    std::string const root = Tree::Get().Path().string();
    for (auto _ : state)
    {
        g_characters = 0;
        ::nftw(
            root.c_str(),
            [](char const * path, struct stat const *, int, struct FTW *)
            {
                g_characters += std::char_traits<char>::length(path);
                return 0;
            },
            64, FTW_PHYS);
        benchmark::DoNotOptimize(g_characters);
    }
}
BENCHMARK(Paths_Nftw)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
