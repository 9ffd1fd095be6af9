#include "host/linux/internal/locale_patterns.h"

#include "qvlib/host/crt.h"

#include <algorithm>
#include <unicode/dtfmtsym.h>
#include <unicode/smpdtfmt.h>
#include <unicode/ures.h>
#include <utility>

namespace qvlib::host::internal
{

namespace
{

constexpr PlatformForm kPlatformForms[] = {
    {"en-US", L"M/d/yyyy", L"h:mm:ss tt", L"$", 0, 0},
    {"en-GB", L"dd/MM/yyyy", L"HH:mm:ss", L"\x00A3", 0, 1},
    {"de-DE", L"dd.MM.yyyy", L"HH:mm:ss", L"\x20AC", 3, 8},
    {"de-AT", L"dd.MM.yyyy", L"HH:mm:ss", nullptr, -1, -1},
    {"de-CH", L"dd.MM.yyyy", L"HH:mm:ss", L"CHF", 3, 2},
    {"fr-FR", L"dd/MM/yyyy", L"HH:mm:ss", L"\x20AC", 3, 8},
    {"it-IT", L"dd/MM/yyyy", L"HH:mm:ss", L"\x20AC", 3, 8},
    {"es-ES", L"dd/MM/yyyy", L"H:mm:ss", L"\x20AC", 3, 8},
    {"ja-JP", L"yyyy/MM/dd", L"H:mm:ss", L"\x00A5", 0, 1},
    {"zh-CN", L"yyyy/M/d", L"HH:mm:ss", L"\x00A5", 0, 2},
    {"ru-RU", L"dd.MM.yyyy", L"HH:mm:ss", L"\x20BD", 3, 8},
    {"pt-BR", L"dd/MM/yyyy", L"HH:mm:ss", L"R$", 2, -1},
    {"sv-SE", L"yyyy-MM-dd", L"HH:mm:ss", L"kr", 3, 8},
    {"hi-IN", L"dd-MM-yyyy", nullptr, nullptr, -1, 12},
    {"ar-SA", nullptr, nullptr, nullptr, 1, 4},
    {"tr-TR", nullptr, nullptr, nullptr, -1, 0},
    {"und", L"MM/dd/yyyy", L"HH:mm:ss", L"\x00A4", 0, 0},
};

struct Marks
{
    std::string_view language;
    wchar_t const * am;
    wchar_t const * pm;
};

/// Where ICU has a longer form than the platform.
constexpr Marks kMarks[] = {
    {"en-US", L"AM", L"PM"},
    {"und", L"AM", L"PM"},
    {"bg-", L"am", L"pm"},
    {"es-", L"a.\x202Fm.", L"p.\x202Fm."},
    {"fa-", L"\x0642.\x0638.", L"\x0628.\x0638."},
    {"lv-", L"priek\x0161p.",
     L"p\x0113"
     L"cp."},
    {"nn-", L"f.m.", L"e.m."},
    {"pt-PT", L"a.m.", L"p.m."},
};

/// Copies the quoted text at `i` of an ICU pattern, which means the same to the platform but for a quote that stands
/// alone; `i` is then behind it.
void TakeQuoted(std::wstring const & pattern, std::size_t & i, std::wstring & result)
{
    if (i + 1 < pattern.size() && pattern[i + 1] == L'\'')
    {
        result += L"''''";
        i += 2;
        return;
    }
    std::size_t end = i + 1;
    while (end < pattern.size() && (pattern[end] != L'\'' || (end + 1 < pattern.size() && pattern[end + 1] == L'\'')))
    {
        end += pattern[end] == L'\'' ? 2U : 1U;
    }
    end = std::min(end + 1, pattern.size());
    result.append(pattern, i, end - i);
    i = end;
}

/// An ICU pattern in the platform's letters: four-digit years. The blanks of a time become plain ones.
std::wstring PlatformPattern(std::wstring const & pattern, bool isTime)
{
    std::wstring result;
    for (std::size_t i = 0; i < pattern.size();)
    {
        wchar_t const letter = pattern[i];
        if (letter == L'\'')
        {
            TakeQuoted(pattern, i, result);
            continue;
        }
        std::size_t const end = std::min(pattern.find_first_not_of(letter, i), pattern.size());
        std::size_t const run = end - i;
        i = end;
        switch (letter)
        {
        case L'G':
            result += L"gg";
            break;
        case L'y':
        case L'u':
            result += L"yyyy";
            break;
        case L'M':
        case L'L':
            result.append(std::min<std::size_t>(run, 4), L'M');
            break;
        case L'E':
        case L'c':
            result.append(run >= 4 ? 4 : 3, L'd');
            break;
        case L'H':
        case L'k':
            result.append(std::min<std::size_t>(run, 2), L'H');
            break;
        case L'h':
        case L'K':
            result.append(std::min<std::size_t>(run, 2), L'h');
            break;
        case L'd':
        case L'm':
        case L's':
            result.append(std::min<std::size_t>(run, 2), letter);
            break;
        case L'a':
        case L'b':
        case L'B':
            result += L"tt";
            break;
        default:
            if (!(letter >= L'a' && letter <= L'z') && !(letter >= L'A' && letter <= L'Z'))
            {
                result.append(run, isTime && iswspace(static_cast<int>(letter)) ? L' ' : letter);
            }
            break;
        }
    }
    return result;
}

icu::UnicodeString StylePattern(icu::DateFormat const * format)
{
    icu::UnicodeString text;
    if (auto const * const simple = dynamic_cast<icu::SimpleDateFormat const *>(format); simple != nullptr)
    {
        simple->toPattern(text);
    }
    return text;
}

/// Whether ICU knows the language. Asked for one that it has not, it answers with the locale of the process.
bool HasData(icu::Locale const & locale)
{
    UErrorCode status = U_ZERO_ERROR;
    UResourceBundle * const bundle = ures_open(nullptr, locale.getName(), &status);
    ures_close(bundle);
    return U_SUCCESS(status) && status != U_USING_DEFAULT_WARNING;
}

/// What the platform writes where nothing is known of a locale, and in the invariant one.
wchar_t const * PlainPattern(Pattern pattern)
{
    switch (pattern)
    {
    case Pattern::ShortDate:
        return L"MM/dd/yyyy";
    case Pattern::LongDate:
        return L"dddd, dd MMMM yyyy";
    case Pattern::YearMonth:
        return L"yyyy MMMM";
    case Pattern::MonthDay:
        return L"MMMM dd";
    case Pattern::Time:
        return L"HH:mm:ss";
    case Pattern::ShortTime:
        break;
    }
    return L"HH:mm";
}

} // namespace

PlatformForm const * FindPlatformForm(std::string_view name)
{
    auto const found = std::find_if(std::begin(kPlatformForms), std::end(kPlatformForms),
                                    [&](PlatformForm const & entry) { return entry.name == name; });
    return found != std::end(kPlatformForms) ? found : nullptr;
}

std::string WithRegion(std::string const & name)
{
    icu::Locale locale = icu::Locale::createFromName(name.c_str());
    if (*locale.getCountry() == 0)
    {
        UErrorCode status = U_ZERO_ERROR;
        locale.addLikelySubtags(status);
        if (U_FAILURE(status))
        {
            return name;
        }
    }
    return std::string(locale.getLanguage()) + "-" + locale.getCountry();
}

icu::Locale IcuLocale(std::string const & name)
{
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale locale = icu::Locale::forLanguageTag(name, status);
    if (HasData(locale))
    {
        return locale;
    }
    icu::Locale neighbour("und", locale.getCountry());
    neighbour.addLikelySubtags(status);
    return HasData(neighbour) ? neighbour : icu::Locale("en", locale.getCountry());
}

PatternReader::PatternReader(std::string name) : m_name(std::move(name)) {}

PatternReader::~PatternReader() = default;

icu::Locale const & PatternReader::Locale()
{
    if (m_locale == nullptr)
    {
        m_locale = std::make_unique<icu::Locale>(IcuLocale(m_name));
        UErrorCode status = U_ZERO_ERROR;
        m_locale->setKeywordValue("calendar", "gregorian", status);
        m_locale->setKeywordValue("numbers", "latn", status);
    }
    return *m_locale;
}

icu::UnicodeString PatternReader::OfSkeleton(char const * skeleton)
{
    UErrorCode status = U_ZERO_ERROR;
    if (m_generator == nullptr)
    {
        m_generator.reset(icu::DateTimePatternGenerator::createInstance(Locale(), status));
    }
    return U_SUCCESS(status) && m_generator != nullptr
               ? m_generator->getBestPattern(icu::UnicodeString(skeleton, -1, US_INV), status)
               : icu::UnicodeString();
}

icu::UnicodeString PatternReader::OfIcu(Pattern pattern)
{
    using Format = icu::DateFormat;
    switch (pattern)
    {
    case Pattern::ShortDate:
        return OfSkeleton("yMd"); // the short style would have years of two digits
    case Pattern::LongDate:
        return StylePattern(std::unique_ptr<Format>(Format::createDateInstance(Format::kFull, Locale())).get());
    case Pattern::YearMonth:
        return OfSkeleton("yMMMM");
    case Pattern::MonthDay:
        return OfSkeleton("MMMMd");
    case Pattern::Time:
        return StylePattern(std::unique_ptr<Format>(Format::createTimeInstance(Format::kMedium, Locale())).get());
    case Pattern::ShortTime:
        break;
    }
    return StylePattern(std::unique_ptr<Format>(Format::createTimeInstance(Format::kShort, Locale())).get());
}

std::wstring PatternReader::Read(Pattern pattern)
{
    if (PlatformForm const * const form = FindPlatformForm(m_name); form != nullptr)
    {
        if (pattern == Pattern::ShortDate && form->shortDate != nullptr)
        {
            return form->shortDate;
        }
        if (pattern == Pattern::Time && form->time != nullptr)
        {
            return form->time;
        }
    }
    bool const isTime = pattern == Pattern::Time || pattern == Pattern::ShortTime;
    std::wstring const text = m_name != "und" ? PlatformPattern(Wide(OfIcu(pattern)), isTime) : std::wstring();
    return text.empty() ? PlainPattern(pattern) : text;
}

void HalfDayMarks(std::string const & name, std::wstring & am, std::wstring & pm)
{
    for (Marks const & marks : kMarks)
    {
        if (name.starts_with(marks.language))
        {
            am = marks.am;
            pm = marks.pm;
            return;
        }
    }
    UErrorCode status = U_ZERO_ERROR;
    icu::DateFormatSymbols const symbols(IcuLocale(name), status);
    int count = 0;
    if (U_SUCCESS(status))
    {
        icu::UnicodeString const * const texts = symbols.getAmPmStrings(count);
        am = count == 2 ? Wide(texts[0]) : L"AM";
        pm = count == 2 ? Wide(texts[1]) : L"PM";
    }
}

std::wstring Wide(icu::UnicodeString const & text)
{
    std::wstring wide;
    for (int i = 0; i < text.length(); i = text.moveIndex32(i, 1))
    {
        wide += static_cast<wchar_t>(text.char32At(i));
    }
    return wide;
}

} // namespace qvlib::host::internal
