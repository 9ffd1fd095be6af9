#include "qvlib/host/codepage.h"

#include "qvlib/host/utf16.h"
#include "qvlib/host/utf8.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/ucnv_err.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>

namespace
{

constexpr std::size_t kMaxCount = static_cast<std::size_t>(std::numeric_limits<int>::max());

int Fail(LSTATUS code) noexcept
{
    SetLastError(static_cast<DWORD>(code));
    return 0;
}

/// The code page that stands for those whose meaning the system chooses.
UINT Resolved(UINT codePage) noexcept
{
    return codePage == CP_ACP || codePage == CP_OEMCP || codePage == CP_THREAD_ACP ? CP_UTF8 : codePage;
}

struct CloseConverter
{
    void operator()(UConverter * converter) const noexcept { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

/// ICU's converter of a code page, or nothing when it has none.
Converter OpenConverter(UINT codePage)
{
    struct Name
    {
        UINT codePage;
        char const * name;
    };
    // Pages whose number is no name of a converter.
    static constexpr Name kNames[] = {{932, "ibm-943_P15A-2003"}, {936, "windows-936"},  {949, "windows-949"},
                                      {950, "windows-950"},       {10000, "macintosh"},  {20127, "US-ASCII"},
                                      {20866, "KOI8-R"},          {21866, "KOI8-U"},     {51932, "EUC-JP"},
                                      {51949, "EUC-KR"},          {54936, "gb18030"},    {65000, "UTF-7"},
                                      {50220, "ISO-2022-JP"},     {50225, "ISO-2022-KR"}};
    char name[32] = {};
    char const * found = nullptr;
    for (Name const & entry : kNames)
        if (entry.codePage == codePage)
            found = entry.name;
    auto const open = [](char const * text)
    {
        UErrorCode status = U_ZERO_ERROR;
        Converter converter(ucnv_open(text, &status));
        return U_SUCCESS(status) ? std::move(converter) : Converter();
    };
    if (found != nullptr)
        return open(found);
    auto const numbered = [&](char const * prefix, UINT number)
    {
        std::string text = prefix + std::to_string(number);
        std::memcpy(name, text.c_str(), text.size() + 1);
        return open(name);
    };
    if (codePage > 28590 && codePage <= 28606)
        return numbered("ISO-8859-", codePage - 28590);
    if (Converter windows = codePage >= 1250 && codePage <= 1258 ? numbered("windows-", codePage) : Converter())
        return windows;
    return numbered("ibm-", codePage);
}

int Result(std::size_t needed, int room) noexcept
{
    if (needed > kMaxCount)
        return Fail(ERROR_INVALID_PARAMETER);
    if (room != 0 && needed > static_cast<std::size_t>(room))
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    return static_cast<int>(needed);
}

int DecodeUtf8Text(char const * bytes, std::size_t count, bool strict, wchar_t * wide, int room) noexcept
{
    bool valid = true;
    std::size_t length = 0;
    // No text is longer wide than narrow: with that much room, one walk does.
    if (room != 0 && static_cast<std::size_t>(room) >= count)
        length = qvlib::host::DecodeUtf8(bytes, count, wide, &valid);
    else
    {
        length = qvlib::host::Utf8DecodedLength(bytes, count, &valid);
        if (room != 0 && length <= static_cast<std::size_t>(room))
            qvlib::host::DecodeUtf8(bytes, count, wide);
    }
    if (strict && !valid)
        return Fail(ERROR_NO_UNICODE_TRANSLATION);
    return Result(length, room);
}

int DecodeLatin1(char const * bytes, std::size_t count, wchar_t * wide, int room) noexcept
{
    if (room != 0 && count <= static_cast<std::size_t>(room))
        for (std::size_t i = 0; i < count; ++i)
            wide[i] = static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]));
    return Result(count, room);
}

int DecodeByConverter(UINT codePage, char const * bytes, std::size_t count, bool strict, wchar_t * wide, int room)
{
    Converter const converter = OpenConverter(codePage);
    if (!converter)
        return Fail(ERROR_INVALID_PARAMETER);
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter.get(), strict ? UCNV_TO_U_CALLBACK_STOP : UCNV_TO_U_CALLBACK_SUBSTITUTE, nullptr,
                        nullptr, nullptr, &status);
    // A byte gives at most two units in any of the pages; the loop would take more as well.
    std::u16string units(2 * count + 16, u'\0');
    char const * source = bytes;
    char const * const end = bytes + count;
    UChar * target = units.data();
    for (;;)
    {
        status = U_ZERO_ERROR;
        ucnv_toUnicode(converter.get(), &target, units.data() + units.size(), &source, end, nullptr, true, &status);
        if (status != U_BUFFER_OVERFLOW_ERROR)
            break;
        std::size_t const done = static_cast<std::size_t>(target - units.data());
        units.resize(units.size() * 2);
        target = units.data() + done;
    }
    if (U_FAILURE(status))
        return Fail(ERROR_NO_UNICODE_TRANSLATION);
    std::size_t const unitCount = static_cast<std::size_t>(target - units.data());
    std::size_t const length = qvlib::host::Utf16DecodedLength(units.data(), unitCount);
    if (room != 0 && length <= static_cast<std::size_t>(room))
        qvlib::host::DecodeUtf16(units.data(), unitCount, wide);
    return Result(length, room);
}

int EncodeUtf8Text(wchar_t const * wide, std::size_t count, bool strict, char * bytes, int room) noexcept
{
    std::size_t const needed = qvlib::host::Utf8Length(wide, count);
    if (strict)
        for (std::size_t i = 0; i < count; ++i)
            if (std::uint32_t const c = static_cast<std::uint32_t>(wide[i]);
                (c & 0xFFFFF800U) == 0xD800 || c > 0x10FFFF)
                return Fail(ERROR_NO_UNICODE_TRANSLATION);
    if (room != 0 && needed <= static_cast<std::size_t>(room))
        qvlib::host::EncodeUtf8(wide, count, bytes);
    return Result(needed, room);
}

int EncodeLatin1(wchar_t const * wide, std::size_t count, char const * substitute, char * bytes, int room,
                 BOOL * usedSubstitute) noexcept
{
    std::size_t const length = std::strlen(substitute);
    std::size_t replaced = 0;
    for (std::size_t i = 0; i < count; ++i)
        replaced += static_cast<std::uint32_t>(wide[i]) > 0xFF;
    std::size_t const needed = count - replaced + replaced * length;
    if (usedSubstitute != nullptr)
        *usedSubstitute = replaced != 0;
    if (room != 0 && needed <= static_cast<std::size_t>(room))
        for (std::size_t i = 0; i < count; ++i)
        {
            if (static_cast<std::uint32_t>(wide[i]) <= 0xFF)
                *bytes++ = static_cast<char>(wide[i]);
            else
            {
                std::memcpy(bytes, substitute, length);
                bytes += length;
            }
        }
    return Result(needed, room);
}

/// What ICU calls for a character that the page does not have.
struct Substitution
{
    char const * text;
    bool used = false;
};

void WriteSubstitute(void const * context, UConverterFromUnicodeArgs * arguments, UChar const *, std::int32_t, UChar32,
                     UConverterCallbackReason reason, UErrorCode * status)
{
    if (reason > UCNV_IRREGULAR)
        return;
    Substitution & substitution = *static_cast<Substitution *>(const_cast<void *>(context));
    substitution.used = true;
    *status = U_ZERO_ERROR;
    ucnv_cbFromUWriteBytes(arguments, substitution.text, static_cast<std::int32_t>(std::strlen(substitution.text)), 0,
                           status);
}

int EncodeByConverter(UINT codePage, wchar_t const * wide, std::size_t count, char const * substitute, char * bytes,
                      int room, BOOL * usedSubstitute)
{
    Converter const converter = OpenConverter(codePage);
    if (!converter)
        return Fail(ERROR_INVALID_PARAMETER);
    Substitution substitution{substitute};
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setFromUCallBack(converter.get(), WriteSubstitute, &substitution, nullptr, nullptr, &status);
    std::u16string const units = qvlib::host::ToUtf16({wide, count});
    std::string encoded(2 * units.size() + 16, '\0');
    UChar const * source = units.data();
    UChar const * const end = units.data() + units.size();
    char * target = encoded.data();
    for (;;)
    {
        status = U_ZERO_ERROR;
        ucnv_fromUnicode(converter.get(), &target, encoded.data() + encoded.size(), &source, end, nullptr, true,
                         &status);
        if (status != U_BUFFER_OVERFLOW_ERROR)
            break;
        std::size_t const done = static_cast<std::size_t>(target - encoded.data());
        encoded.resize(encoded.size() * 2);
        target = encoded.data() + done;
    }
    if (U_FAILURE(status))
        return Fail(ERROR_NO_UNICODE_TRANSLATION);
    std::size_t const needed = static_cast<std::size_t>(target - encoded.data());
    if (usedSubstitute != nullptr)
        *usedSubstitute = substitution.used;
    if (room != 0 && needed <= static_cast<std::size_t>(room))
        std::memcpy(bytes, encoded.data(), needed);
    return Result(needed, room);
}

} // namespace

int MultiByteToWideChar(UINT codePage, DWORD flags, char const * bytes, int byteCount, wchar_t * wide, int wideCount)
try
{
    if (bytes == nullptr || byteCount == 0 || byteCount < -1 || wideCount < 0 || (wide == nullptr && wideCount != 0) ||
        static_cast<void const *>(bytes) == wide)
        return Fail(ERROR_INVALID_PARAMETER);
    codePage = Resolved(codePage);
    bool const unicode = codePage == CP_UTF8 || codePage == 65000;
    if ((flags & ~(unicode ? MB_ERR_INVALID_CHARS : DWORD{0xF})) != 0)
        return Fail(ERROR_INVALID_FLAGS);
    std::size_t const count = byteCount < 0 ? std::strlen(bytes) + 1 : static_cast<std::size_t>(byteCount);
    bool const strict = (flags & MB_ERR_INVALID_CHARS) != 0;
    if (codePage == CP_UTF8)
        return DecodeUtf8Text(bytes, count, strict, wide, wideCount);
    if (codePage == CP_LATIN1)
        return DecodeLatin1(bytes, count, wide, wideCount);
    return DecodeByConverter(codePage, bytes, count, strict, wide, wideCount);
}
catch (std::bad_alloc const &)
{
    return Fail(ERROR_OUTOFMEMORY);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, wchar_t const * wide, int wideCount, char * bytes, int byteCount,
                        char const * defaultChar, BOOL * usedDefault)
try
{
    if (wide == nullptr || wideCount == 0 || wideCount < -1 || byteCount < 0 || (bytes == nullptr && byteCount != 0) ||
        static_cast<void const *>(bytes) == wide)
        return Fail(ERROR_INVALID_PARAMETER);
    codePage = Resolved(codePage);
    bool const unicode = codePage == CP_UTF8 || codePage == 65000;
    if (unicode && (defaultChar != nullptr || usedDefault != nullptr))
        return Fail(ERROR_INVALID_PARAMETER);
    if ((flags & ~(unicode ? WC_ERR_INVALID_CHARS : DWORD{0x6F0})) != 0)
        return Fail(ERROR_INVALID_FLAGS);
    std::size_t const count =
        wideCount < 0 ? std::char_traits<wchar_t>::length(wide) + 1 : static_cast<std::size_t>(wideCount);
    if (codePage == CP_UTF8)
        return EncodeUtf8Text(wide, count, (flags & WC_ERR_INVALID_CHARS) != 0, bytes, byteCount);
    char const * const substitute = defaultChar != nullptr ? defaultChar : "?";
    if (codePage == CP_LATIN1)
        return EncodeLatin1(wide, count, substitute, bytes, byteCount, usedDefault);
    return EncodeByConverter(codePage, wide, count, substitute, bytes, byteCount, usedDefault);
}
catch (std::bad_alloc const &)
{
    return Fail(ERROR_OUTOFMEMORY);
}
