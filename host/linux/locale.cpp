#include "qvlib/host/locale.h"

#include <cstdlib>
#include <string_view>
#include <unicode/uloc.h>

namespace qvlib::host
{

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
    if (language == 0 || language == LOCALE_USER_DEFAULT || language == LOCALE_SYSTEM_DEFAULT || language == 0x0C00)
    {
        return UserLocaleName();
    }
    if (language == LOCALE_INVARIANT)
    {
        return "und";
    }
    char name[ULOC_FULLNAME_CAPACITY];
    UErrorCode status = U_ZERO_ERROR;
    int const length = uloc_getLocaleForLCID(language, name, sizeof name, &status);
    return U_SUCCESS(status) && length > 0 ? TagOf(name) : std::string();
}

} // namespace qvlib::host
