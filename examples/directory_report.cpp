// Directory report: the directories of a tree with the number of files in each, their bytes and the largest of them.
//
//     directory_report [path]

#include "example.h"

#include <qvlib/FileEnumerator.h>
#include <qvlib/FileSystem.h>
#include <qvlib/PathUrl.h>
#include <qvlib/framework/file.h>

#include <map>

using qvlib::CPathUrl;
using qvlib::CQVString;
using qvlib::FileEnumerator;
using qvlib::FileSystem;

namespace
{

struct Line
{
    int files = 0;
    unsigned long long bytes = 0;
    unsigned long long largestBytes = 0;
    CQVString largest;
};

void Report(CQVString const & root)
{
    std::map<std::wstring, Line> lines;
    FileEnumerator entries(root, L"*", true);
    for (entries.Reset(); entries.MoveNext();)
    {
        CQVString const path = entries.Current().GetFilePath();
        if (entries.Current().IsDirectory())
        {
            lines[path.Mid(root.GetLength()).GetString()]; // stands in the report even if it is empty
            continue;
        }
        Line & line = lines[CPathUrl(path).GetParentUrl().GetUrl().Mid(root.GetLength()).GetString()];
        unsigned long long const bytes = entries.Current().GetLength();
        ++line.files;
        line.bytes += bytes;
        if (bytes >= line.largestBytes)
        {
            line.largestBytes = bytes;
            line.largest = CPathUrl(path).GetFileName();
        }
    }
    for (auto const & [directory, line] : lines)
        std::cout << '.' << Utf8(directory) << ": " << line.files << " files, " << line.bytes << " bytes"
                  << (line.files == 0 ? "" : ", largest " + Utf8(line.largest)) << '\n';
}

// A tree to report on, when none is named.
void ReportOnAnExample()
{
    CQVString const root = FileSystem::BuildUniqueDirectoryName(L"\\tmp", L"qvlib-report");
    FileSystem::PopulateDirectoryTree(root, 1, 2, 1, L"part", L"note");
    CFile(root + L"\\part2\\letter.txt", CFile::modeCreate | CFile::modeWrite).Write("Dear reader", 11);
    Report(root);
    std::cout << (FileSystem::DeleteDirectory(root, false) ? "removed" : "left behind") << '\n';
}

} // namespace

int main(int count, char ** arguments) { count > 1 ? Report(CQVString(arguments[1])) : ReportOnAnExample(); }
