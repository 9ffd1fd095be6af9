// FileEnumerator: a walk over a directory, and over the directories below it where wanted.
//
//     qvlib::FileEnumerator files(L"C:\\data", L"*", true);
//     files.Reset();
//     while (files.MoveNext())
//         if (!files.Current().IsDirectory())
//             Use(files.Current().GetFilePath());
//
// The order is depth first: a directory is reported, and the next step enters it. Every level is searched with the
// pattern, so a directory whose own name doesn't match is not entered: walk with "*" to see all. The dot entries are
// left out. A symbolic link is reported and never entered. A directory that can't be read, or is gone by then, is
// passed over.
//
// Memory and open handles grow with the depth of the tree, not with the number of its files. Thread-compatible.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/framework/filefind.h"

#include <list>

namespace qvlib
{

class QVLIB_API FileEnumerator
{
public:
    FileEnumerator() = default;
    /// Nothing is opened before Reset.
    FileEnumerator(CQVString const & root, CQVString const & pattern, bool recursive)
        : m_root(root), m_pattern(pattern), m_recursive(recursive)
    {
    }
    FileEnumerator(FileEnumerator const &) = delete;
    FileEnumerator & operator=(FileEnumerator const &) = delete;
    ~FileEnumerator();

    // During a walk a new root waits for the next Reset; the pattern counts from the next folder that is entered, and
    // whether those below are entered from the next step.

    CQVString const & GetRoot() const noexcept { return m_root; }
    void SetRoot(CQVString const & root) noexcept { m_root = root; }
    CQVString const & GetPattern() const noexcept { return m_pattern; }
    void SetPattern(CQVString const & pattern) noexcept { m_pattern = pattern; }
    bool GetRecursive() const noexcept { return m_recursive; }
    void SetRecursive(bool recursive) noexcept { m_recursive = recursive; }

    /// Starts the walk, which then stands before its first entry. What Current gave before is void.
    void Reset();
    /// Goes to the next entry. False at the end, and before Reset.
    bool MoveNext();
    /// The finder that stands on the entry, only after a MoveNext that gave true; it holds until the next step.
    CFileFind const & Current() const { return *m_finders.front(); }

protected:
    /// Begins to read a directory with the pattern. False, with nothing changed, when nothing in it matches, it can't
    /// be read, or its path joined with the pattern has more than 259 characters.
    bool EnterRecursion(wchar_t const * directory);
    /// Leaves the directory being read. Whether another is left to be read on.
    bool ExitRecursion();

private:
    void Clear() noexcept;

    CQVString m_root;
    CQVString m_pattern;
    bool m_recursive = false;
    std::list<CFileFind *> m_finders; // the front is being read; owned
    bool m_more = false;              // the front has a further entry
    bool m_descend = false;           // the entry last reported is a directory, to be entered next
};

} // namespace qvlib
