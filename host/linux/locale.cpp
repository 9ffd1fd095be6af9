#include "qvlib/host/locale.h"

#include "host/linux/internal/copy_out.h"
#include "host/linux/internal/locale_ids.h"
#include "qvlib/host/error.h"
#include "qvlib/host/nls.h"

#include <cstdlib>
#include <string_view>
#include <unicode/uloc.h>

namespace qvlib::host
{

using namespace internal;

namespace
{

constexpr char kFallback[] = "en-US";

/// The BCP 47 name of an ICU or POSIX locale name; empty when it is none.
std::string TagOf(std::string const & name)
{
    char tag[ULOC_FULLNAME_CAPACITY];
    UErrorCode status = U_ZERO_ERROR;
    int const length = uloc_toLanguageTag(name.c_str(), tag, sizeof tag, true, &status);
    return U_SUCCESS(status) && length > 0 ? std::string(tag, static_cast<std::size_t>(length)) : std::string();
}

/// "de_DE.UTF-8@euro" without what does not name a locale; empty for the C locale.
std::string LanguageOf(char const * value)
{
    std::string_view name = value;
    name = name.substr(0, name.find_first_of(".@"));
    return name == "C" || name == "POSIX" ? std::string() : std::string(name);
}

std::string ReadUserLocale()
{
    if (char const * chosen = std::getenv("QVLIB_LOCALE"); chosen != nullptr && *chosen != 0)
    {
        std::string const tag = TagOf(chosen);
        if (!tag.empty() && tag != "und")
        {
            return tag;
        }
    }
    for (char const * variable : {"LC_ALL", "LC_TIME", "LANG"})
    {
        // The first that is set decides, as in the C library.
        if (char const * value = std::getenv(variable); value != nullptr && *value != 0)
        {
            std::string const language = LanguageOf(value);
            std::string const tag = language.empty() ? std::string() : TagOf(language);
            return tag.empty() || tag == "und" ? kFallback : tag;
        }
    }
    return kFallback;
}

} // namespace

std::string const & UserLocaleName()
{
    static std::string const name = ReadUserLocale();
    return name;
}

std::string LocaleName(LCID locale)
{
    LCID const language = locale & 0xFFFF; // the rest is a sort order
    LCID const resolved = ResolveLocale(language);
    if (resolved == LOCALE_INVARIANT)
    {
        return "und";
    }
    bool const usersOwn = language == 0 || language == LOCALE_USER_DEFAULT || language == LOCALE_SYSTEM_DEFAULT;
    if (usersOwn || resolved == kCustomLocale)
    {
        return UserLocaleName();
    }
    if (std::string neutral = NeutralName(language); !neutral.empty())
    {
        return neutral;
    }
    std::size_t const index = FindLocale(resolved);
    return index != kNoLocale ? LanguageTag(LocaleAt(index)) : std::string();
}

} // namespace qvlib::host

using namespace qvlib::host::internal;

namespace
{

/// The id in eight hexadecimal digits, as the callback of a walk gets it.
bool Report(LOCALE_ENUMPROCW callback, LCID id)
{
    wchar_t text[9] = L"00000000";
    for (int i = 7; id != 0; --i, id >>= 4)
    {
        text[i] = L"0123456789abcdef"[id & 15];
    }
    return callback(text) != FALSE;
}

thread_local LCID t_threadLocale = 0; // 0: the user's default

} // namespace

LCID ConvertDefaultLocale(LCID locale) noexcept
{
    LCID const resolved = ResolveLocale(locale);
    bool const sorted = locale > 0xFFFF; // keeps its sort order
    return resolved == 0 || sorted ? locale : resolved;
}

BOOL IsValidLocale(LCID locale, DWORD flags) noexcept
{
    constexpr DWORD kKnown = LCID_INSTALLED | LCID_SUPPORTED;
    return (flags & kKnown) != 0 && (flags & ~kKnown) == 0 && ResolveLocale(locale) != 0;
}

int LCIDToLocaleName(LCID locale, LPWSTR name, int size, DWORD flags)
{
    LCID const resolved = ResolveLocale(locale);
    if (resolved == 0 || size < 0 || (name == nullptr && size > 0))
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if ((flags & ~LOCALE_ALLOW_NEUTRAL_NAMES) != 0)
    {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    std::string text = (flags & LOCALE_ALLOW_NEUTRAL_NAMES) != 0 ? NeutralName(locale) : std::string();
    if (text.empty() && resolved != LOCALE_INVARIANT)
    {
        text = resolved == kCustomLocale ? qvlib::host::UserLocaleName() : LocaleAt(FindLocale(resolved)).name;
    }
    return CopyOut(std::wstring(text.begin(), text.end()), name, size);
}

LCID LocaleNameToLCID(LPCWSTR name, DWORD flags)
{
    if ((flags & ~LOCALE_ALLOW_NEUTRAL_NAMES) != 0)
    {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    if (name == nullptr)
    {
        return ResolveLocale(LOCALE_USER_DEFAULT);
    }
    std::string text;
    for (; *name != 0; ++name)
    {
        if (*name > 0x7F || text.size() >= LOCALE_NAME_MAX_LENGTH)
        {
            SetLastError(ERROR_INVALID_PARAMETER);
            return 0;
        }
        text += static_cast<char>(*name);
    }
    if (text.empty())
    {
        return LOCALE_INVARIANT;
    }
    if (std::size_t const index = FindLocale(text); index != kNoLocale)
    {
        return LocaleAt(index).id;
    }
    LCID const neutral = NeutralId(text);
    if (neutral == 0)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    return (flags & LOCALE_ALLOW_NEUTRAL_NAMES) != 0 ? neutral : ResolveLocale(neutral);
}

BOOL EnumSystemLocalesW(LOCALE_ENUMPROCW callback, DWORD flags)
{
    if (callback == nullptr)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    constexpr DWORD kKnown = LCID_INSTALLED | LCID_SUPPORTED;
    if ((flags & ~(kKnown | LCID_ALTERNATE_SORTS)) != 0 || flags == 0)
    {
        SetLastError(ERROR_INVALID_FLAGS);
        return FALSE;
    }
    for (bool const principal : {true, false})
    {
        for (std::size_t i = 0; (flags & kKnown) != 0 && i < LocaleCount(); ++i)
        {
            if (LocaleAt(i).principal == principal && !Report(callback, LocaleAt(i).id))
            {
                return TRUE;
            }
        }
    }
    for (std::size_t i = 0; (flags & LCID_ALTERNATE_SORTS) != 0 && i < SortIdCount(); ++i)
    {
        if (!Report(callback, SortIdAt(i)))
        {
            return TRUE;
        }
    }
    return TRUE;
}

LCID GetThreadLocale() noexcept { return t_threadLocale != 0 ? t_threadLocale : ResolveLocale(LOCALE_USER_DEFAULT); }

BOOL SetThreadLocale(LCID locale) noexcept
{
    if (ResolveLocale(locale) == 0)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    t_threadLocale = ConvertDefaultLocale(locale);
    return TRUE;
}
