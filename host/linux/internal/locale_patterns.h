// The patterns in which a locale writes dates and times, in the platform's letters, and the ICU locale behind a name.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace qvlib::host::internal
{

/// What the platform is known to write, where that differs from the locale data of ICU or spares loading them. Null and
/// -1 leave a thing to ICU.
struct PlatformForm
{
    std::string_view name;
    wchar_t const * shortDate;
    wchar_t const * time;
    wchar_t const * currency;
    int positiveCurrency;
    int negativeCurrency;
};

/// Null when there is none for that name.
PlatformForm const * FindPlatformForm(std::string_view name);

/// The name with the region that the language is mostly used in: "en" is "en-US".
std::string WithRegion(std::string const & name);

/// The ICU locale of a BCP 47 name: where ICU has no data of the language, that of the region's main language, else
/// English with the region, and never the locale of the process.
icu::Locale IcuLocale(std::string const & name);

enum class Pattern
{
    ShortDate,
    LongDate,
    YearMonth,
    MonthDay,
    Time,
    ShortTime
};

/// Reads the patterns of a locale, the platform's own where they are known. ICU is asked for the others only.
class PatternReader
{
public:
    explicit PatternReader(std::string name);
    ~PatternReader();
    PatternReader(PatternReader const &) = delete;
    PatternReader & operator=(PatternReader const &) = delete;

    std::wstring Read(Pattern pattern);

private:
    icu::Locale const & Locale();
    icu::UnicodeString OfSkeleton(char const * skeleton);
    icu::UnicodeString OfIcu(Pattern pattern);

    std::string m_name;
    std::unique_ptr<icu::Locale> m_locale;
    std::unique_ptr<icu::DateTimePatternGenerator> m_generator;
};

/// The marks of the hours before noon and from noon on.
void HalfDayMarks(std::string const & name, std::wstring & am, std::wstring & pm);

std::wstring Wide(icu::UnicodeString const & text);

} // namespace qvlib::host::internal
