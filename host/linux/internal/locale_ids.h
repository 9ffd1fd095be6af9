// The locales that the platform knows: ids, names, and what neutral and default ids stand for.
#pragma once

#include "qvlib/host/types.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace qvlib::host::internal
{

/// A locale of a language and a region.
struct LocaleId
{
    LCID id;
    char const * name; ///< as LCIDToLocaleName writes it
    bool principal;    ///< the main one of its region
};

/// How many locales there are, and one of them, in the order of their ids.
std::size_t LocaleCount();
LocaleId const & LocaleAt(std::size_t index);

/// The index of the locale with this id, without default, neutral and sort ids; kNoLocale when there is none.
constexpr std::size_t kNoLocale = ~std::size_t{0};
std::size_t FindLocale(LCID id) noexcept;
/// The index of the locale of that name, in any case; kNoLocale when there is none.
std::size_t FindLocale(std::string_view name) noexcept;

/// The ids with another sort order than their locale's usual one.
std::size_t SortIdCount();
LCID SortIdAt(std::size_t index);

/// The id that a default, neutral or sort id stands for: that of a locale, LOCALE_INVARIANT, or kCustomLocale for the
/// user's default where that has no id. 0 for an id that names nothing.
constexpr LCID kCustomLocale = 0x0C00;
LCID ResolveLocale(LCID id) noexcept;

/// The name of a neutral id ("de", "zh-Hant"); empty for any other.
std::string NeutralName(LCID id);
/// The neutral id of a language's name, 0 when it has none.
LCID NeutralId(std::string_view name) noexcept;

/// A platform name as BCP 47 knows it.
std::string LanguageTag(LocaleId const & locale);

} // namespace qvlib::host::internal
