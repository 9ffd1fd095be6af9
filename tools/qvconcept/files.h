// Whole files in and out, by the system's own names.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvconcept
{

/// All bytes of a file. Throws CallError when it cannot be read.
std::string ReadWholeFile(std::string const & path);

/// Every "*.xml" below a folder, in the order of their names. Throws CallError when the folder cannot be read.
std::vector<std::string> XmlFilesBelow(std::string const & folder);

bool IsFolder(std::string const & path);

/// The file that a path leads to, so that one file given twice is known as one.
std::string SameFileKey(std::string const & path);

/// A file beside the one to be written, which takes its place at Commit; without Commit it is removed again, and what
/// stood there before stays as it was.
class NewFile
{
public:
    /// Throws Problem when the bytes cannot be written.
    NewFile(std::string const & path, std::string_view bytes);
    NewFile(NewFile const &) = delete;
    NewFile & operator=(NewFile const &) = delete;
    ~NewFile();

    std::string const & TemporaryPath() const { return m_temporary; }
    void Commit();

private:
    std::string m_path;
    std::string m_temporary;
};

} // namespace qvconcept
