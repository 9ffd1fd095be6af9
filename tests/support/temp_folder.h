#pragma once

#include <filesystem>
#include <stdexcept>
#include <stdlib.h>
#include <string>

namespace qvlib_test
{

/// A folder of its own for one test, removed with everything in it at the end.
class TempFolder
{
public:
    TempFolder()
    {
        std::string path = (std::filesystem::temp_directory_path() / "qvlib-test-XXXXXX").string();
        if (::mkdtemp(path.data()) == nullptr)
            throw std::runtime_error("cannot make a temporary folder");
        path_ = path;
    }
    TempFolder(TempFolder const &) = delete;
    TempFolder & operator=(TempFolder const &) = delete;
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::filesystem::path const & Path() const { return path_; }
    std::filesystem::path operator/(std::string const & name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

} // namespace qvlib_test
