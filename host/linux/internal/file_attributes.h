// The platform's attributes of what the system tells of a file.
#pragma once

#include "qvlib/host/file.h"

#include <string_view>

#include <sys/stat.h>

namespace qvlib::host
{

/// `name` is the file's last name: a dot in front of it hides a file here.
inline DWORD AttributesOf(struct stat const & status, std::string_view name) noexcept
{
    DWORD attributes = 0;
    if (S_ISDIR(status.st_mode))
        attributes |= FILE_ATTRIBUTE_DIRECTORY;
    else if (S_ISLNK(status.st_mode))
        attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    else if ((status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)
        attributes |= FILE_ATTRIBUTE_READONLY;
    if (name.size() > 1 && name.front() == '.' && name != "..")
        attributes |= FILE_ATTRIBUTE_HIDDEN;
    return attributes == 0 ? FILE_ATTRIBUTE_NORMAL : attributes;
}

} // namespace qvlib::host
