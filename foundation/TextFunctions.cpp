#include "qvlib/TextFunctions.h"

#include "qvlib/host/crt.h"
#include "qvlib/host/utf8.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

namespace qvlib
{

void TLCopyStringToBuffer(wchar_t * buffer, unsigned long capacity, CQVString const & text)
{
    if (buffer == nullptr || capacity == 0)
        return;
    std::size_t const count = std::min(static_cast<std::size_t>(text.GetLength()), capacity - 1);
    std::memcpy(buffer, text.GetString(), count * sizeof(wchar_t));
    buffer[count] = L'\0';
}

void TLCopyStringToBufferA(char * buffer, unsigned long capacity, CQVString const & text)
{
    if (buffer == nullptr || capacity == 0)
        return;
    std::string const bytes = host::ToUtf8(text.View());
    // Kept on purpose: the test counts wide characters, so a text can pass it whose bytes do not fit.
    bool const whole = static_cast<unsigned long>(text.GetLength()) < capacity;
    if (whole && bytes.size() >= capacity)
    {
        buffer[0] = '\0';
        return;
    }
    std::size_t const count = whole ? bytes.size() : capacity - 1;
    std::memcpy(buffer, bytes.data(), count);
    buffer[count] = '\0';
}

namespace
{

template <class Equal>
wchar_t const * Search(wchar_t const * text, unsigned long textLength, wchar_t const * pattern,
                       unsigned long patternLength, Equal equal)
{
    if (text == nullptr || pattern == nullptr || textLength == 0 || patternLength == 0 || patternLength > textLength)
        return nullptr;
    wchar_t const * const end = text + textLength;
    wchar_t const * const found = std::search(text, end, pattern, pattern + patternLength, equal);
    return found == end ? nullptr : found;
}

} // namespace

wchar_t const * TLFindString(wchar_t const * text, unsigned long textLength, wchar_t const * pattern,
                             unsigned long patternLength)
{
    if (text == nullptr || pattern == nullptr || textLength == 0 || patternLength == 0)
        return nullptr;
    std::wstring_view const all(text, textLength);
    std::size_t const found = all.find({pattern, patternLength});
    return found == all.npos ? nullptr : text + found;
}

wchar_t const * TLFindStringNoCase(wchar_t const * text, unsigned long textLength, wchar_t const * pattern,
                                   unsigned long patternLength)
{
    return Search(text, textLength, pattern, patternLength,
                  [](wchar_t a, wchar_t b) { return host::towlower(a) == host::towlower(b); });
}

void TLReserveStringBuffer(CQVString & text, unsigned long capacity)
{
    text.Preallocate(static_cast<int>(std::min(capacity, static_cast<unsigned long>(std::numeric_limits<int>::max()))));
}

void TLSkipWhiteSpaces(wchar_t const *& text)
{
    if (text == nullptr)
        return;
    while (host::iswspace(static_cast<int>(*text)))
        ++text;
}

CQVString const & TLStringDefault()
{
    static CQVString const & text = *new CQVString; // never destroyed: usable while the process ends
    return text;
}

std::wstring const & TLStdWStringDefault()
{
    static std::wstring const & text = *new std::wstring;
    return text;
}

char const * TLStringOrEmpty(char const * text) { return text != nullptr && *text != '\0' ? text : ""; }

wchar_t const * TLStringOrEmpty(wchar_t const * text) { return text != nullptr && *text != L'\0' ? text : L""; }

std::wstring & ltrim(std::wstring & text)
{
    auto const first =
        std::find_if(text.begin(), text.end(), [](wchar_t c) { return !host::isspace(static_cast<int>(c)); });
    text.erase(text.begin(), first);
    return text;
}

std::wstring & rtrim(std::wstring & text)
{
    std::size_t length = text.size();
    while (length != 0 && host::isspace(static_cast<int>(text[length - 1])))
        --length;
    text.erase(length);
    return text;
}

std::wstring & trim(std::wstring & text) { return ltrim(rtrim(text)); }

} // namespace qvlib
