#include "host/linux/internal/date_forms.h"

#include "qvlib/host/crt.h"
#include "qvlib/host/locale.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <unicode/dtfmtsym.h>
#include <unicode/smpdtfmt.h>
#include <unicode/uchar.h>
#include <unicode/uloc.h>

namespace qvlib::host::internal
{

namespace
{

/// The forms that the platform is known to write, where they differ from the locale data of ICU.
struct PlatformForm
{
    std::string_view name;
    wchar_t const * date;
    wchar_t const * time;
};

constexpr PlatformForm kPlatformForms[] = {
    {"en-US", L"M/d/yyyy", L"h:mm:ss tt"},  {"en-GB", L"dd/MM/yyyy", L"HH:mm:ss"},
    {"de-DE", L"dd.MM.yyyy", L"HH:mm:ss"},  {"de-AT", L"dd.MM.yyyy", L"HH:mm:ss"},
    {"de-CH", L"dd.MM.yyyy", L"HH:mm:ss"},  {"fr-FR", L"dd/MM/yyyy", L"HH:mm:ss"},
    {"it-IT", L"dd/MM/yyyy", L"HH:mm:ss"},  {"es-ES", L"dd/MM/yyyy", L"H:mm:ss"},
    {"ja-JP", L"yyyy/MM/dd", L"H:mm:ss"},   {"zh-CN", L"yyyy/M/d", L"H:mm:ss"},
    {"ru-RU", L"dd.MM.yyyy", L"HH:mm:ss"},  {"pt-BR", L"dd/MM/yyyy", L"HH:mm:ss"},
    {"pt-PT", L"dd/MM/yyyy", L"HH:mm:ss"},  {"sv-SE", L"yyyy-MM-dd", L"HH:mm:ss"},
    {"hi-IN", L"dd-MM-yyyy", L"HH:mm:ss"},  {"nl-NL", L"d-M-yyyy", L"HH:mm:ss"},
    {"da-DK", L"dd-MM-yyyy", L"HH:mm:ss"},  {"ko-KR", L"yyyy-MM-dd", L"tt h:mm:ss"},
    {"zh-TW", L"yyyy/M/d", L"tt hh:mm:ss"}, {"pl-PL", L"dd.MM.yyyy", L"HH:mm:ss"},
    {"und", L"MM/dd/yyyy", L"HH:mm:ss"},
};

constexpr wchar_t const * kEnglishMonths[] = {L"January",   L"February", L"March",    L"April",
                                              L"May",       L"June",     L"July",     L"August",
                                              L"September", L"October",  L"November", L"December"};
constexpr wchar_t const * kEnglishDays[] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                            L"Thursday", L"Friday", L"Saturday"};

std::wstring Wide(icu::UnicodeString const & text)
{
    std::wstring wide;
    for (int i = 0; i < text.length(); i = text.moveIndex32(i, 1))
    {
        wide += static_cast<wchar_t>(text.char32At(i));
    }
    return wide;
}

void AddName(DateForms & forms, std::wstring text, DateName::Kind kind, unsigned value)
{
    // An abbreviation is read with and without its dot, so the dot is not part of the name.
    if (kind != DateName::HalfDay && !text.empty() && text.back() == L'.')
    {
        text.pop_back();
    }
    for (wchar_t & character : text)
    {
        character = FoldNameCharacter(character);
    }
    bool const known =
        std::any_of(forms.names.begin(), forms.names.end(), [&](DateName const & name) { return name.text == text; });
    if (!text.empty() && !known)
    {
        forms.names.push_back({std::move(text), kind, value});
    }
}

void AddEnglishNames(DateForms & forms)
{
    for (unsigned i = 0; i < 12; ++i)
    {
        std::wstring const name = kEnglishMonths[i];
        forms.shortMonths[i] = name.substr(0, 3);
        AddName(forms, name, DateName::Month, i + 1);
        AddName(forms, name.substr(0, 3), DateName::Month, i + 1);
    }
    for (std::wstring const name : kEnglishDays)
    {
        AddName(forms, name, DateName::Weekday, 0);
        AddName(forms, name.substr(0, 3), DateName::Weekday, 0);
    }
    forms.am = L"AM";
    forms.pm = L"PM";
}

void AddLocaleNames(DateForms & forms, icu::Locale const & locale)
{
    UErrorCode status = U_ZERO_ERROR;
    icu::DateFormatSymbols const symbols(locale, status);
    if (U_FAILURE(status))
    {
        AddEnglishNames(forms);
        return;
    }
    using Symbols = icu::DateFormatSymbols;
    // The platform has one short name a month and day, which is the one that stands alone.
    constexpr std::pair<Symbols::DtContextType, Symbols::DtWidthType> kRead[] = {
        {Symbols::FORMAT, Symbols::WIDE},
        {Symbols::STANDALONE, Symbols::WIDE},
        {Symbols::STANDALONE, Symbols::ABBREVIATED}};
    int count = 0;
    for (auto const & [context, width] : kRead)
    {
        icu::UnicodeString const * texts = symbols.getMonths(count, context, width);
        for (int i = 0; i < count && i < 12; ++i)
        {
            forms.shortMonths[i] = Wide(texts[i]);
            AddName(forms, forms.shortMonths[i], DateName::Month, static_cast<unsigned>(i) + 1);
        }
        texts = symbols.getWeekdays(count, context, width);
        for (int i = 1; i < count; ++i)
        {
            AddName(forms, Wide(texts[i]), DateName::Weekday, 0);
        }
    }
    icu::UnicodeString const * const halves = symbols.getAmPmStrings(count);
    if (count == 2)
    {
        forms.am = Wide(halves[0]);
        forms.pm = Wide(halves[1]);
    }
}

/// An ICU pattern in the platform's letters: four-digit years, no era, plain blanks.
std::wstring PlatformPattern(icu::DateFormat const * format)
{
    auto const * const simple = dynamic_cast<icu::SimpleDateFormat const *>(format);
    if (simple == nullptr)
    {
        return {};
    }
    icu::UnicodeString text;
    simple->toPattern(text);
    std::wstring const pattern = Wide(text);
    std::wstring result;
    for (std::size_t i = 0; i < pattern.size();)
    {
        wchar_t const letter = pattern[i];
        std::size_t const end = std::min(pattern.find_first_not_of(letter, i), pattern.size());
        std::size_t const run = end - i;
        switch (letter)
        {
        case L'\'':
        {
            std::size_t const close = pattern.find(L'\'', i + 1);
            std::size_t const after = close == std::wstring::npos ? pattern.size() : close + 1;
            result.append(pattern, i, after - i);
            i = after;
            if (i < pattern.size() && pattern[i] == L'.')
            {
                // The dot of an abbreviation, as in "'г'.", is part of its text.
                result.insert(result.size() - 1, 1, L'.');
                ++i;
            }
            continue;
        }
        case L'y':
        case L'u':
            result += L"yyyy";
            break;
        case L'M':
        case L'L':
            result.append(std::min<std::size_t>(run, 3), L'M');
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
            // No other letters (eras), and no marks of the writing direction.
            if (!(letter >= L'a' && letter <= L'z') && !(letter >= L'A' && letter <= L'Z') &&
                u_charType(static_cast<UChar32>(letter)) != U_FORMAT_CHAR)
            {
                result.append(run, iswspace(static_cast<int>(letter)) ? L' ' : letter);
            }
            break;
        }
        i = end;
    }
    std::size_t const first = result.find_first_not_of(L' ');
    std::size_t const last = result.find_last_not_of(L' ');
    return first == std::wstring::npos ? std::wstring() : result.substr(first, last - first + 1);
}

/// The name with the region that the language is mostly used in: "en" is "en-US".
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

void ReadPatterns(DateForms & forms, icu::Locale locale)
{
    UErrorCode status = U_ZERO_ERROR;
    locale.setKeywordValue("calendar", "gregorian", status);
    locale.setKeywordValue("numbers", "latn", status);
    std::unique_ptr<icu::DateFormat> const date(icu::DateFormat::createDateInstance(icu::DateFormat::kShort, locale));
    std::unique_ptr<icu::DateFormat> const time(icu::DateFormat::createTimeInstance(icu::DateFormat::kMedium, locale));
    forms.date = PlatformPattern(date.get());
    forms.time = PlatformPattern(time.get());
    if (forms.date.empty() || forms.time.empty())
    {
        forms.date = kPlatformForms[0].date;
        forms.time = kPlatformForms[0].time;
    }
}

/// Whether a dot stands between or behind two fields.
bool HasDot(std::wstring const & pattern)
{
    bool quoted = false;
    for (wchar_t const character : pattern)
    {
        quoted = quoted != (character == L'\'');
        if (character == L'.' && !quoted)
        {
            return true;
        }
    }
    return false;
}

FieldOrder OrderOf(std::wstring const & date)
{
    std::size_t const day = date.find(L'd');
    std::size_t const month = date.find(L'M');
    std::size_t const year = date.find(L'y');
    return year < month && year < day ? FieldOrder::YearMonthDay
           : day < month              ? FieldOrder::DayMonthYear
                                      : FieldOrder::MonthDayYear;
}

std::unique_ptr<DateForms> MakeForms(std::string const & name)
{
    auto forms = std::make_unique<DateForms>();
    std::string const form = name == "und" ? name : WithRegion(name);
    if (form == "en-US" || form == "und")
    {
        AddEnglishNames(*forms); // as ICU has them, without loading its data
    }
    else
    {
        AddLocaleNames(*forms, icu::Locale::createFromName(name.c_str()));
    }
    auto const known = std::find_if(std::begin(kPlatformForms), std::end(kPlatformForms),
                                    [&](PlatformForm const & entry) { return entry.name == form; });
    if (known != std::end(kPlatformForms))
    {
        forms->date = known->date;
        forms->time = known->time;
    }
    else
    {
        ReadPatterns(*forms, icu::Locale::createFromName(name.c_str()));
    }
    AddName(*forms, forms->am, DateName::HalfDay, 0);
    AddName(*forms, forms->pm, DateName::HalfDay, 1);
    AddName(*forms, L"am", DateName::HalfDay, 0);
    AddName(*forms, L"pm", DateName::HalfDay, 1);
    AddName(*forms, L"a", DateName::HalfDay, 0);
    AddName(*forms, L"p", DateName::HalfDay, 1);
    std::stable_sort(forms->names.begin(), forms->names.end(),
                     [](DateName const & a, DateName const & b) { return a.text.size() > b.text.size(); });
    forms->digitNames =
        std::any_of(forms->names.begin(), forms->names.end(),
                    [](DateName const & entry) { return entry.text[0] >= L'0' && entry.text[0] <= L'9'; });
    forms->order = OrderOf(forms->date);
    forms->dotInDates = HasDot(forms->date);
    forms->dotInTimes = HasDot(forms->time);
    forms->halfDayFirst = forms->time.front() == L't';
    return forms;
}

} // namespace

wchar_t FoldNameCharacter(wchar_t character)
{
    if (character > L' ' && character < 0x7F)
    {
        return towlower(character);
    }
    if (iswspace(static_cast<int>(character)))
    {
        return L' ';
    }
    return static_cast<wchar_t>(u_foldCase(static_cast<UChar32>(character), U_FOLD_CASE_DEFAULT));
}

DateForms const * DateFormsOf(LCID locale)
{
    // There are no more entries than locales that ICU knows: the sort order is no part of the key. They are never
    // freed, so that dates can be written while the process ends.
    static std::shared_mutex s_lock;
    static auto & s_forms = *new std::map<LCID, std::unique_ptr<DateForms const>>;
    static std::atomic<DateForms const *> s_last{nullptr}; // most programs ask for one locale again and again
    LCID const key = locale & 0xFFFF;
    if (DateForms const * const last = s_last.load(std::memory_order_acquire); last != nullptr && last->locale == key)
    {
        return last;
    }
    {
        std::shared_lock const lock(s_lock);
        auto const found = s_forms.find(key);
        if (found != s_forms.end())
        {
            s_last.store(found->second.get(), std::memory_order_release);
            return found->second.get();
        }
    }
    std::string const name = LocaleName(key);
    if (name.empty())
    {
        return nullptr;
    }
    std::unique_ptr<DateForms> forms = MakeForms(name);
    forms->locale = key;
    std::unique_lock const lock(s_lock);
    return s_forms.emplace(key, std::move(forms)).first->second.get();
}

} // namespace qvlib::host::internal
