#include "host/linux/internal/date_forms.h"

#include "host/linux/internal/locale_patterns.h"
#include "host/linux/internal/mutex.h"
#include "qvlib/host/crt.h"
#include "qvlib/host/locale.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <unicode/dtfmtsym.h>
#include <unicode/uchar.h>

namespace qvlib::host::internal
{

namespace
{

constexpr wchar_t const * kEnglishMonths[] = {L"January",   L"February", L"March",    L"April",
                                              L"May",       L"June",     L"July",     L"August",
                                              L"September", L"October",  L"November", L"December"};
constexpr wchar_t const * kEnglishDays[] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                            L"Thursday", L"Friday", L"Saturday"};

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
}

/// A pattern as dates are written and read by: no eras, no marks of the writing direction, plain blanks, and the dot of
/// an abbreviation, as in "'г'.", within its quotes.
std::wstring PlainForm(std::wstring const & pattern)
{
    std::wstring result;
    bool quoted = false;
    for (wchar_t const character : pattern)
    {
        quoted = quoted != (character == L'\'');
        if (character == L'.' && !quoted && result.ends_with(L'\''))
        {
            result.insert(result.size() - 1, 1, L'.');
        }
        else if ((quoted || character != L'g') && u_charType(static_cast<UChar32>(character)) != U_FORMAT_CHAR)
        {
            result += iswspace(static_cast<int>(character)) ? L' ' : character;
        }
    }
    std::size_t const first = result.find_first_not_of(L' ');
    std::size_t const last = result.find_last_not_of(L' ');
    return first == std::wstring::npos ? std::wstring() : result.substr(first, last - first + 1);
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
        AddLocaleNames(*forms, IcuLocale(name));
    }
    // The platform's own forms are kept by the name with the region.
    std::string const & patternName = FindPlatformForm(form) != nullptr ? form : name;
    PatternReader patterns(patternName);
    forms->date = PlainForm(patterns.Read(Pattern::ShortDate));
    forms->time = PlainForm(patterns.Read(Pattern::Time));
    HalfDayMarks(patternName, forms->am, forms->pm);
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
    struct Known
    {
        SharedMutex lock;
        std::map<LCID, std::unique_ptr<DateForms const>> forms QVLIB_GUARDED_BY(lock);
    };
    static Known & s_known = *new Known;
    static std::atomic<DateForms const *> s_last{nullptr}; // most programs ask for one locale again and again
    LCID const key = locale & 0xFFFF;
    if (DateForms const * const last = s_last.load(std::memory_order_acquire); last != nullptr && last->locale == key)
    {
        return last;
    }
    {
        ReaderLock const lock(s_known.lock);
        auto const found = s_known.forms.find(key);
        if (found != s_known.forms.end())
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
    WriterLock const lock(s_known.lock);
    return s_known.forms.emplace(key, std::move(forms)).first->second.get();
}

} // namespace qvlib::host::internal
