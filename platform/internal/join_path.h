// Joining paths and taking the last name off them, whatever their length. A path with a slash is the system's own
// (host/path.h) and is continued with a slash.
#pragma once

#include "qvlib/PathUrl.h"
#include "qvlib/QVString.h"

namespace qvlib
{

inline bool IsSystemsOwn(CQVString const & path) { return path.Find(L'/') >= 0; }

inline CQVString JoinPath(CQVString const & directory, wchar_t const * name)
{
    CQVString path(directory);
    wchar_t const separator = IsSystemsOwn(directory) ? L'/' : L'\\';
    if (path.IsEmpty() || path[path.GetLength() - 1] != separator)
        path.AppendChar(separator);
    path.Append(name);
    return path;
}

inline CQVString ParentPath(CQVString const & path)
{
    if (!IsSystemsOwn(path))
        return CPathUrl(path).GetParentUrl().GetUrl();
    int const slash = path.ReverseFind(L'/');
    return path.Left(slash == 0 ? 1 : slash);
}

} // namespace qvlib
