#include "qvlib/PathUrl.h"

#include "qvlib/framework/file.h"
#include "qvlib/host/crt_path.h"

#include <string_view>

namespace qvlib
{

namespace
{

constexpr std::size_t kDriveCapacity = 3;
constexpr std::size_t kPieceCapacity = 256;
constexpr std::size_t kPathCapacity = 260;
constexpr UINT_PTR kStart = 0xFFFFFFFF;

struct Pieces
{
    explicit Pieces(wchar_t const * path)
    {
        // After a failure all are empty.
        _wsplitpath_s(path, drive, kDriveCapacity, directory, kPieceCapacity, name, kPieceCapacity, extension,
                      kPieceCapacity);
    }

    wchar_t drive[kDriveCapacity] = {};
    wchar_t directory[kPieceCapacity] = {};
    wchar_t name[kPieceCapacity] = {};
    wchar_t extension[kPieceCapacity] = {};
};

void Set(CQVString * output, wchar_t const * piece)
{
    if (output != nullptr)
        *output = piece;
}

// Kept on purpose, as callers of the wide string forms count on the room: the piece and NUL characters up to the
// capacity.
std::wstring Padded(wchar_t const * piece, std::size_t capacity)
{
    std::wstring padded(piece);
    padded.resize(capacity);
    return padded;
}

void Set(std::wstring * output, wchar_t const * piece, std::size_t capacity)
{
    if (output != nullptr)
        *output = Padded(piece, capacity);
}

wchar_t const * NullIfEmpty(std::wstring const & piece) { return piece.empty() ? nullptr : piece.c_str(); }

POSITION PositionAt(UINT_PTR index) { return reinterpret_cast<POSITION>(index); }

} // namespace

void TLSplitPath(wchar_t const * path, CQVString * drive, CQVString * directory, CQVString * name,
                 CQVString * extension)
{
    Pieces const pieces(path);
    Set(drive, pieces.drive);
    Set(directory, pieces.directory);
    Set(name, pieces.name);
    Set(extension, pieces.extension);
}

void TLSplitPath(std::wstring const & path, std::wstring * drive, std::wstring * directory, std::wstring * name,
                 std::wstring * extension)
{
    Pieces const pieces(path.c_str());
    Set(drive, pieces.drive, kDriveCapacity);
    Set(directory, pieces.directory, kPieceCapacity);
    Set(name, pieces.name, kPieceCapacity);
    Set(extension, pieces.extension, kPieceCapacity);
}

CQVString TLGetDrive(wchar_t const * path) { return Pieces(path).drive; }
CQVString TLGetDirectory(wchar_t const * path) { return Pieces(path).directory; }
CQVString TLGetFileName(wchar_t const * path) { return Pieces(path).name; }
CQVString TLGetFileExt(wchar_t const * path) { return Pieces(path).extension; }

std::wstring TLGetDrive(std::wstring const & path) { return Padded(Pieces(path.c_str()).drive, kDriveCapacity); }
std::wstring TLGetDirectory(std::wstring const & path)
{
    return Padded(Pieces(path.c_str()).directory, kPieceCapacity);
}
std::wstring TLGetFileName(std::wstring const & path) { return Padded(Pieces(path.c_str()).name, kPieceCapacity); }
std::wstring TLGetFileExt(std::wstring const & path) { return Padded(Pieces(path.c_str()).extension, kPieceCapacity); }

CQVString TLMakePath(wchar_t const * drive, wchar_t const * directory, wchar_t const * name, wchar_t const * extension)
{
    wchar_t path[kPathCapacity] = {};
    _wmakepath_s(path, kPathCapacity, drive, directory, name, extension);
    return path;
}

std::wstring TLMakePath(std::wstring const & drive, std::wstring const & directory, std::wstring const & name,
                        std::wstring const & extension)
{
    return Padded(TLMakePath(NullIfEmpty(drive), NullIfEmpty(directory), NullIfEmpty(name), NullIfEmpty(extension)),
                  kPathCapacity);
}

void CPathUrl::Split(CQVString * drive, CQVString * directory, CQVString * name, CQVString * extension) const
{
    TLSplitPath(m_url.GetString(), drive, directory, name, extension);
}

CQVString CPathUrl::GetDrive() const { return TLGetDrive(m_url.GetString()); }
CQVString CPathUrl::GetDirectory() const { return TLGetDirectory(m_url.GetString()); }
CQVString CPathUrl::GetName() const { return TLGetFileName(m_url.GetString()); }
CQVString CPathUrl::GetExtension() const { return TLGetFileExt(m_url.GetString()); }

CQVString CPathUrl::GetFileName() const
{
    Pieces const pieces(m_url.GetString());
    return TLMakePath(nullptr, nullptr, pieces.name, pieces.extension);
}

CQVString CPathUrl::GetFilePath() const
{
    Pieces const pieces(m_url.GetString());
    return TLMakePath(pieces.drive, pieces.directory, nullptr, nullptr);
}

bool CPathUrl::HasDrive() const { return Pieces(m_url.GetString()).drive[0] != L'\0'; }

bool CPathUrl::AddChild(wchar_t const * child)
{
    m_url = TLMakePath(nullptr, m_url.GetString(), child, nullptr);
    return IsValid();
}

bool CPathUrl::AddExtension(wchar_t const * extension)
{
    m_url = TLMakePath(nullptr, nullptr, m_url.GetString(), extension);
    return IsValid();
}

CPathUrl CPathUrl::GetParentUrl() const
{
    int const separator = m_url.ReverseFind(L'\\');
    return separator < 0 ? CPathUrl() : CPathUrl(m_url.Left(separator));
}

POSITION CPathUrl::GetFirstNodePosition() const noexcept { return PositionAt(m_url.IsEmpty() ? 0 : kStart); }

CQVString CPathUrl::GetNextNodePosition(POSITION & position) const
{
    CQVString node;
    GetNextNodePosition(position, node);
    return node;
}

void CPathUrl::GetNextNodePosition(POSITION & position, CQVString & node) const
{
    CQVString const url = m_url; // `node` may be this very text
    auto const length = static_cast<UINT_PTR>(url.GetLength());
    UINT_PTR index = reinterpret_cast<UINT_PTR>(position);
    if (index >= length)
        index = 0;
    std::wstring_view const text(url.GetString(), length);
    std::size_t const separator = text.find(L'\\', index);
    std::wstring_view const found = text.substr(index, separator - index);
    bool const last = separator == std::wstring_view::npos || separator + 1 == length;
    position = PositionAt(last ? 0 : separator + 1);
    node = CQVString(found.data(), static_cast<int>(found.size()));
}

bool CPathUrl::IsValid() const
{
    std::wstring_view rest(m_url.GetString(), static_cast<std::size_t>(m_url.GetLength()));
    if (rest.empty())
        return false;
    if (HasDrive())
    {
        std::size_t const separator = rest.find(L'\\');
        rest.remove_prefix(separator == std::wstring_view::npos ? rest.size() : separator);
    }
    return rest.find_first_of(L"/:*?\"<>|") == std::wstring_view::npos;
}

bool CPathUrl::Exists() const
{
    CFileStatus status;
    return CFile::GetStatus(m_url.GetString(), status) != FALSE;
}

bool CPathUrl::Exists(CQVString const & child) const
{
    CFileStatus status;
    return CFile::GetStatus(TLMakePath(nullptr, m_url.GetString(), child.GetString(), nullptr).GetString(), status) !=
           FALSE;
}

} // namespace qvlib
