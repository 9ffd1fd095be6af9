#include "qvlib/HexDump.h"

#include "qvlib/Exceptions.h"

#include <limits>

namespace qvlib
{

namespace
{

unsigned long DivideUp(unsigned long count, unsigned long by) { return count / by + (count % by != 0 ? 1 : 0); }

// How many bytes a line holds; 0 when there is but one line.
unsigned long LineLength(unsigned long groupSize, unsigned long groupsPerLine)
{
    if (groupSize == 0 || groupsPerLine == 0)
        return groupsPerLine;
    unsigned long const most = std::numeric_limits<unsigned long>::max();
    return groupsPerLine > most / groupSize ? most : groupSize * groupsPerLine;
}

} // namespace

void TLByteToString(unsigned char byte, wchar_t & high, wchar_t & low)
{
    static constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    high = kDigits[byte >> 4];
    low = kDigits[byte & 0xF];
}

unsigned long TLCalcBytesToStringBufferSize(unsigned long count, unsigned long groupSize, unsigned long groupsPerLine)
{
    if (count == 0)
        return 0;
    unsigned long size = 2 * count;
    unsigned long groups = count;
    if (groupSize != 0)
    {
        groups = DivideUp(count, groupSize);
        size += groups - 1;
    }
    if (groupsPerLine != 0)
    {
        unsigned long const lines = DivideUp(groups, groupsPerLine);
        size += 2 * (lines - 1);
        if (groupSize != 0)
            size -= lines - 1; // a line end takes the place of a blank
    }
    return size;
}

void TLBytesToString(unsigned char const * bytes, unsigned long count, wchar_t * buffer, unsigned long bufferSize,
                     unsigned long groupSize, unsigned long groupsPerLine)
{
    if (count == 0 || bytes == nullptr)
        return;
    if (buffer == nullptr || bufferSize < TLCalcBytesToStringBufferSize(count, groupSize, groupsPerLine))
        throw unexpected_error();
    unsigned long const lineLength = LineLength(groupSize, groupsPerLine);
    unsigned long leftInLine = lineLength;
    unsigned long leftInGroup = groupSize;
    for (unsigned long i = 0; i < count; ++i, --leftInLine, --leftInGroup)
    {
        bool const lineEnds = lineLength != 0 && leftInLine == 0;
        bool const groupEnds = groupSize != 0 && leftInGroup == 0;
        if (lineEnds)
        {
            *buffer++ = L'\r';
            *buffer++ = L'\n';
            leftInLine = lineLength;
        }
        else if (groupEnds)
            *buffer++ = L' ';
        if (groupEnds)
            leftInGroup = groupSize;
        TLByteToString(bytes[i], buffer[0], buffer[1]);
        buffer += 2;
    }
}

CQVString TLBytesToString(unsigned char const * bytes, unsigned long count, unsigned long groupSize,
                          unsigned long groupsPerLine)
{
    CQVString text;
    if (count == 0 || bytes == nullptr)
        return text;
    unsigned long const size = TLCalcBytesToStringBufferSize(count, groupSize, groupsPerLine);
    if (size > static_cast<unsigned long>(std::numeric_limits<int>::max()))
        throw unexpected_error(); // longer than any string
    TLBytesToString(bytes, count, text.GetBufferSetLength(static_cast<int>(size)), size, groupSize, groupsPerLine);
    text.ReleaseBuffer(static_cast<int>(size));
    return text;
}

} // namespace qvlib
