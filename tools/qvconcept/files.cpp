#include "files.h"

#include "failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>

namespace qvconcept
{
namespace
{

namespace fs = std::filesystem;

struct CloseFile
{
    void operator()(std::FILE * file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

std::string Reason(int error) { return std::strerror(error); }

} // namespace

std::string ReadWholeFile(std::string const & path)
{
    File const file(std::fopen(path.c_str(), "rb"));
    if (!file)
        throw CallError(path + ": cannot open: " + Reason(errno));
    std::string bytes;
    char buffer[65536];
    while (std::size_t const count = std::fread(buffer, 1, sizeof buffer, file.get()))
        bytes.append(buffer, count);
    if (std::ferror(file.get()))
        throw CallError(path + ": cannot read: " + Reason(errno));
    return bytes;
}

std::vector<std::string> XmlFilesBelow(std::string const & folder)
{
    std::vector<std::string> files;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        if (entry->path().extension() == ".xml" && !entry->is_directory(error))
            files.push_back(entry->path().string());
    if (error)
        throw CallError(folder + ": cannot list: " + error.message());
    std::sort(files.begin(), files.end());
    return files;
}

bool IsFolder(std::string const & path)
{
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

std::string SameFileKey(std::string const & path)
{
    std::error_code error;
    fs::path const canonical = fs::canonical(path, error);
    return error ? path : canonical.string();
}

NewFile::NewFile(std::string const & path, std::string_view bytes) : m_path(path)
{
    std::error_code error;
    fs::file_status const old = fs::status(path, error);
    if (fs::exists(old))
    {
        if (!fs::is_regular_file(old))
            throw Problem(path + ": cannot write: not a regular file");
        // A link stays a link: the file behind it is replaced.
        m_path = SameFileKey(path);
    }
    std::random_device random;
    File file;
    for (int attempt = 0; !file && attempt < 16; ++attempt)
    {
        m_temporary = m_path + ".new-" + std::to_string(random());
        file.reset(std::fopen(m_temporary.c_str(), "wbx"));
        if (!file && errno != EEXIST)
            break;
    }
    if (!file)
    {
        m_temporary.clear();
        throw Problem(path + ": cannot write: " + Reason(errno));
    }
    bool const written = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
    int problem = errno;
    bool closed = std::fclose(file.release()) == 0;
    if (written && !closed)
        problem = errno;
    if (!written || !closed)
    {
        fs::remove(m_temporary, error);
        throw Problem(path + ": cannot write: " + Reason(problem));
    }
    if (fs::exists(old))
        fs::permissions(m_temporary, old.permissions(), error);
}

NewFile::~NewFile()
{
    std::error_code ignored;
    if (!m_temporary.empty())
        fs::remove(m_temporary, ignored);
}

void NewFile::Commit()
{
    std::error_code error;
    fs::rename(m_temporary, m_path, error);
    if (error)
        throw Problem(m_path + ": cannot write: " + error.message());
    m_temporary.clear();
}

} // namespace qvconcept
