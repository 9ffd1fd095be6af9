// CPathUrl: a path of the platform as a value, and the TLSplitPath family that takes paths apart and joins them.
//
// A path is text here: nothing is looked up but by Exists. A drive is a letter and a colon, the separator is \, and
// paths are compared without regard to case. A node is what stands between two separators.
//
//     qvlib::CPathUrl url(L"C:\\a\\b.txt"); // drive "C:", directory "\a\", name "b", extension ".txt"
//     qvlib::CQVString node;
//     for (POSITION at = url.GetFirstNodePosition(); at != nullptr;)
//         url.GetNextNodePosition(at, node); // "C:", "a", "b.txt"
//
// The forms over std::wstring leave every result at its full capacity, 3 for a drive, 256 for another piece and 260 for
// a path, with NUL characters behind the text: take it up to the first NUL (`text.c_str()`), size() isn't its length.
//
// Thread rule: the functions are thread-safe, a CPathUrl is thread-compatible.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/types.h"

#include <string>

namespace qvlib
{

/// Fills each output that isn't null: the drive with its colon, the directory with its separators, the name without the
/// extension, the extension with its dot. A drive has room for 2 characters, the others for 255: when a piece is
/// longer, or the path null, all outputs are empty.
QVLIB_API void TLSplitPath(wchar_t const * path, CQVString * drive, CQVString * directory, CQVString * name,
                           CQVString * extension);
QVLIB_API void TLSplitPath(std::wstring const & path, std::wstring * drive, std::wstring * directory,
                           std::wstring * name, std::wstring * extension);

/// One piece of a path, by the same rules.
QVLIB_API CQVString TLGetDrive(wchar_t const * path);
QVLIB_API CQVString TLGetDirectory(wchar_t const * path);
QVLIB_API CQVString TLGetFileName(wchar_t const * path); ///< without the extension
QVLIB_API CQVString TLGetFileExt(wchar_t const * path);
QVLIB_API std::wstring TLGetDrive(std::wstring const & path);
QVLIB_API std::wstring TLGetDirectory(std::wstring const & path);
QVLIB_API std::wstring TLGetFileName(std::wstring const & path);
QVLIB_API std::wstring TLGetFileExt(std::wstring const & path);

/// Joins pieces, of which any may be null or empty: a directory gets a separator and an extension a dot where it lacks
/// them. Empty when the path would have more than 259 characters.
QVLIB_API CQVString TLMakePath(wchar_t const * drive, wchar_t const * directory, wchar_t const * name,
                               wchar_t const * extension);
QVLIB_API std::wstring TLMakePath(std::wstring const & drive, std::wstring const & directory, std::wstring const & name,
                                  std::wstring const & extension);

class QVLIB_API CPathUrl
{
public:
    CPathUrl() noexcept = default;
    CPathUrl(CQVString const & url) noexcept : m_url(url) {}
    CPathUrl(CPathUrl const & other) noexcept = default;
    ~CPathUrl() = default;

    // Assignment is declared const and gives a copy, on purpose: callers assign through const references. It stores the
    // new text all the same.
    CPathUrl operator=(CPathUrl const & other) const noexcept { return Assign(other.m_url); }
    CPathUrl operator=(CQVString const & url) const noexcept { return Assign(url); }
    CPathUrl operator=(wchar_t const * url) const { return Assign(CQVString(url)); }

    /// Comparison without regard to case.
    bool operator==(CPathUrl const & other) const { return *this == other.m_url.GetString(); }
    bool operator==(CQVString const & url) const { return *this == url.GetString(); }
    bool operator==(wchar_t const * url) const { return m_url.CompareNoCase(url) == 0; }
    bool operator!=(CPathUrl const & other) const { return !(*this == other); }
    bool operator!=(CQVString const & url) const { return !(*this == url); }
    bool operator!=(wchar_t const * url) const { return !(*this == url); }
    bool operator<(wchar_t const * url) const { return m_url.CompareNoCase(url) < 0; }

    /// The text; the pointer is never null and holds until the text changes.
    operator CQVString const &() const noexcept { return m_url; }
    operator wchar_t const *() const noexcept { return m_url.GetString(); }
    CQVString const & GetUrl() const noexcept { return m_url; }
    void SetUrl(CQVString const & url) noexcept { m_url = url; }
    bool IsEmpty() const noexcept { return m_url.IsEmpty(); }

    /// TLSplitPath on the text, and one piece each.
    void Split(CQVString * drive, CQVString * directory, CQVString * name, CQVString * extension) const;
    CQVString GetDrive() const;
    CQVString GetDirectory() const;
    CQVString GetName() const; ///< without the extension
    CQVString GetExtension() const;
    CQVString GetFileName() const; ///< name and extension
    CQVString GetFilePath() const; ///< drive and directory
    bool HasDrive() const;

    /// Puts a node behind the text, with a separator between them, or an extension, with a dot. Both give IsValid of
    /// the result, which is empty when it would be too long for TLMakePath.
    bool AddChild(wchar_t const * child);
    bool AddExtension(wchar_t const * extension);

    /// Everything ahead of the last \; empty when there is none.
    CPathUrl GetParentUrl() const;

    /// The position of the first node, null for an empty text.
    POSITION GetFirstNodePosition() const noexcept;
    /// The node at the position, which moves to the next one and becomes null behind the last; a separator at the end
    /// of the text has no node behind it. A null position, and one outside the text, stands for the start.
    CQVString GetNextNodePosition(POSITION & position) const;
    void GetNextNodePosition(POSITION & position, CQVString & node) const;

    /// Whether the text isn't empty and no node holds any of / : * ? " < > |, the first of a path with a drive left
    /// aside. A node may be empty, and a path relative.
    bool IsValid() const;

    /// Whether a file or directory stands at the path, or at `child` joined to it.
    bool Exists() const;
    bool Exists(CQVString const & child) const;

private:
    CPathUrl Assign(CQVString const & url) const noexcept
    {
        m_url = url;
        return *this;
    }

    mutable CQVString m_url;
};

} // namespace qvlib
