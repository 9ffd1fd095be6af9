// A stream that is not in memory and gives its bytes in pieces, so that an archive works through its own buffer.
#pragma once

#include "qvlib/framework/file.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace qvlib_test
{

class PieceFile : public CFile
{
public:
    explicit PieceFile(std::string content = {}, UINT piece = 0xFFFFFFFF) : bytes(std::move(content)), m_piece(piece) {}

    UINT Read(void * buffer, UINT count) override
    {
        std::size_t const given = std::min<std::size_t>({count, m_piece, bytes.size() - position});
        std::memcpy(buffer, bytes.data() + position, given);
        position += given;
        return static_cast<UINT>(given);
    }
    void Write(void const * buffer, UINT count) override
    {
        if (bytes.size() + count > limit)
            AfxThrowFileException(CFileException::diskFull);
        bytes.append(static_cast<char const *>(buffer), count);
    }
    ULONGLONG Seek(LONGLONG offset, UINT from) override
    {
        std::size_t const base = from == begin ? 0 : from == current ? position : bytes.size();
        return position = base + static_cast<std::size_t>(offset);
    }

    std::string bytes;
    std::size_t position = 0;
    std::size_t limit = std::string::npos;

private:
    UINT m_piece;
};

} // namespace qvlib_test
