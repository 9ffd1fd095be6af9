#include "host/linux/internal/locale_data.h"

#include "host/linux/internal/locale_ids.h"
#include "host/linux/internal/locale_patterns.h"
#include "qvlib/host/locale.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string_view>
#include <unicode/calendar.h>
#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/dtfmtsym.h>
#include <unicode/ucurr.h>
#include <unicode/ulocdata.h>
#include <vector>

namespace qvlib::host::internal
{

namespace
{

std::wstring Ascii(char const * text)
{
    std::string_view const view = text;
    return std::wstring(view.begin(), view.end());
}

/// A separator as the platform has it: the narrow no-break space is the no-break space.
std::wstring Separator(icu::DecimalFormatSymbols const & symbols, icu::DecimalFormatSymbols::ENumberFormatSymbol sign)
{
    std::wstring text = Wide(symbols.getConstSymbol(sign));
    std::replace(text.begin(), text.end(), L'\x202F', L'\x00A0');
    return text.substr(0, 3);
}

void ReadNumbers(LocaleData & data, icu::Locale const & own)
{
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale locale = own;
    locale.setKeywordValue("numbers", "latn", status);
    icu::DecimalFormatSymbols const symbols(locale, status);
    using Symbols = icu::DecimalFormatSymbols;
    data.number.decimal = Separator(symbols, Symbols::kDecimalSeparatorSymbol);
    data.number.thousands = Separator(symbols, Symbols::kGroupingSeparatorSymbol);
    data.money.decimal = Separator(symbols, Symbols::kMonetarySeparatorSymbol);
    data.money.thousands = Separator(symbols, Symbols::kMonetaryGroupingSeparatorSymbol);
    data.percent = Wide(symbols.getConstSymbol(Symbols::kPercentSymbol));
    std::unique_ptr<icu::NumberFormat> const format(icu::NumberFormat::createInstance(locale, status));
    auto const * const decimal = dynamic_cast<icu::DecimalFormat const *>(format.get());
    bool const indian = decimal != nullptr && decimal->getSecondaryGroupingSize() == 2;
    data.number.grouping = data.money.grouping = indian ? L"3;2;0" : L"3;0";
}

/// A pattern of amounts in four signs: "$" the currency, "1" the number, "-" and a blank; and the brackets.
std::wstring CurrencyForm(std::wstring const & pattern)
{
    std::wstring form;
    for (wchar_t const character : pattern)
    {
        if (character == L'#' || character == L'0' || character == L',' || character == L'.')
        {
            if (form.find(L'1') == std::wstring::npos)
            {
                form += L'1';
            }
        }
        else if (character == L'\x00A4')
        {
            form += L'$';
        }
        else if (character == L'\x00A0' || character == L'\x202F' || character == L' ')
        {
            form += L' ';
        }
        else if (character == L'-' || character == L'(' || character == L')')
        {
            form += character;
        }
    }
    return form;
}

std::wstring CurrencyPattern(icu::Locale const & locale)
{
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::NumberFormat> const format(
        icu::NumberFormat::createInstance(locale, UNUM_CURRENCY_ACCOUNTING, status));
    icu::UnicodeString text;
    if (auto const * const decimal = dynamic_cast<icu::DecimalFormat const *>(format.get()); decimal != nullptr)
    {
        decimal->toPattern(text);
    }
    return Wide(text);
}

void ReadCurrencyForms(LocaleData & data, icu::Locale const & locale)
{
    constexpr std::wstring_view kPositive[] = {L"$1", L"1$", L"$ 1", L"1 $"};
    constexpr std::wstring_view kNegative[] = {L"($1)", L"-$1",  L"$-1",   L"$1-",  L"(1$)", L"-1$",
                                               L"1-$",  L"1$-",  L"-1 $",  L"-$ 1", L"1 $-", L"$ 1-",
                                               L"$ -1", L"1- $", L"($ 1)", L"(1 $)"};
    constexpr unsigned kPlainNegative[] = {1, 5, 9, 8}; // of each positive form, with the sign before it
    // The platform's forms are those of bookkeeping.
    std::wstring const pattern = CurrencyPattern(locale);
    std::size_t const semicolon = std::min(pattern.find(L';'), pattern.size());
    auto const p = std::find(std::begin(kPositive), std::end(kPositive), CurrencyForm(pattern.substr(0, semicolon)));
    data.positiveCurrency = p != std::end(kPositive) ? static_cast<unsigned>(p - std::begin(kPositive)) : 0;
    auto const n = std::find(std::begin(kNegative), std::end(kNegative), CurrencyForm(pattern.substr(semicolon)));
    data.negativeCurrency = n != std::end(kNegative) ? static_cast<unsigned>(n - std::begin(kNegative))
                                                     : kPlainNegative[data.positiveCurrency];
}

std::wstring CurrencyText(UChar const * currency, char const * locale, UCurrNameStyle style)
{
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    UChar const * const text = ucurr_getName(currency, locale, style, nullptr, &length, &status);
    return U_SUCCESS(status) ? Wide(icu::UnicodeString(text, length)) : std::wstring();
}

void ReadCurrency(LocaleData & data, icu::Locale const & locale)
{
    UErrorCode status = U_ZERO_ERROR;
    UChar currency[4] = u"XDR"; // of what is no country
    UChar found[4];
    std::string const region = std::string("und_") + locale.getCountry();
    if (ucurr_forLocale(region.c_str(), found, 4, &status) == 3 && U_SUCCESS(status))
    {
        std::copy(found, found + 4, currency);
    }
    data.isoCurrency = Wide(icu::UnicodeString(currency, 3));
    data.englishCurrency = CurrencyText(currency, "en", UCURR_LONG_NAME);
    data.nativeCurrency = CurrencyText(currency, locale.getName(), UCURR_LONG_NAME);
    data.currency = CurrencyText(currency, locale.getName(), UCURR_NARROW_SYMBOL_NAME);
    status = U_ZERO_ERROR;
    int32_t const digits = ucurr_getDefaultFractionDigits(currency, &status);
    data.currencyDigits = U_SUCCESS(status) && digits >= 0 ? static_cast<unsigned>(digits) : 2;
    ReadCurrencyForms(data, locale);
}

void ReadNames(LocaleData & data, icu::Locale const & locale, std::string const & tag)
{
    icu::Locale const named = icu::Locale::createFromName(tag.c_str());
    icu::Locale const & english = icu::Locale::getEnglish();
    icu::UnicodeString text;
    data.englishLanguage = Wide(named.getDisplayLanguage(english, text));
    icu::Locale scripted = named;
    UErrorCode status = U_ZERO_ERROR;
    if (std::string_view(named.getLanguage()) == "zh")
    {
        scripted.addLikelySubtags(status);
    }
    if (std::string_view const script = scripted.getScript(); !script.empty())
    {
        data.englishLanguage += script == "Hans"   ? L" (Simplified)"
                                : script == "Hant" ? L" (Traditional)"
                                                   : L" (" + Wide(scripted.getDisplayScript(english, text)) + L")";
    }
    data.nativeLanguage = Wide(named.getDisplayLanguage(locale, text));
    data.englishRegion = Wide(named.getDisplayCountry(english, text));
    data.nativeRegion = Wide(named.getDisplayCountry(locale, text));
    data.englishName = data.englishLanguage + L" (" + data.englishRegion + L")";
    data.language = Ascii(named.getLanguage());
    data.language3 = Ascii(named.getISO3Language());
    data.region = Ascii(named.getCountry());
    data.region3 = Ascii(named.getISO3Country());
    if (data.region3.empty())
    {
        data.region3 = data.region; // a part of the world has three digits for a name
    }
}

template <std::size_t Count>
void Take(std::wstring (&names)[Count], icu::UnicodeString const * texts, int count, int first = 0)
{
    for (int i = 0; i < static_cast<int>(Count) && i + first < count; ++i)
    {
        names[i] = Wide(texts[i + first]);
    }
}

void ReadCalendar(LocaleData & data, icu::Locale const & own)
{
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> const calendar(icu::Calendar::createInstance(own, status));
    if (U_SUCCESS(status))
    {
        data.firstDayOfWeek = static_cast<unsigned>((calendar->getFirstDayOfWeek() + 5) % 7);
        std::string_view const type = calendar->getType();
        data.calendar = type == "japanese"           ? 3
                        : type == "roc"              ? 4
                        : type == "buddhist"         ? 7
                        : type == "persian"          ? 22
                        : type == "islamic-umalqura" ? 23
                                                     : 1;
    }
    status = U_ZERO_ERROR;
    data.measure = ulocdata_getMeasurementSystem(own.getName(), &status) == UMS_US ? 1 : 0;
}

void ReadDateNames(LocaleDates & data, icu::Locale locale)
{
    UErrorCode status = U_ZERO_ERROR;
    locale.setKeywordValue("calendar", "gregorian", status);
    using Symbols = icu::DateFormatSymbols;
    Symbols const symbols(locale, status);
    int count = 0;
    icu::UnicodeString const * texts = symbols.getWeekdays(count, Symbols::FORMAT, Symbols::WIDE);
    Take(data.days, texts, count, 1);
    texts = symbols.getWeekdays(count, Symbols::FORMAT, Symbols::ABBREVIATED);
    Take(data.shortDays, texts, count, 1);
    texts = symbols.getMonths(count, Symbols::STANDALONE, Symbols::WIDE);
    Take(data.months, texts, count);
    texts = symbols.getMonths(count, Symbols::STANDALONE, Symbols::ABBREVIATED);
    Take(data.shortMonths, texts, count);
    texts = symbols.getMonths(count, Symbols::FORMAT, Symbols::WIDE);
    Take(data.monthsOfDays, texts, count);
    texts = symbols.getMonths(count, Symbols::FORMAT, Symbols::ABBREVIATED);
    Take(data.shortMonthsOfDays, texts, count);
    texts = symbols.getEras(count);
    if (count == 2)
    {
        data.era = Wide(texts[1]);
    }
}

std::unique_ptr<LocaleDates> MakeDates(std::string const & tag)
{
    auto dates = std::make_unique<LocaleDates>();
    ReadDateNames(*dates, tag == "und" ? icu::Locale::getUS() : IcuLocale(tag));
    PatternReader patterns(tag);
    dates->shortDate = patterns.Read(Pattern::ShortDate);
    dates->longDate = patterns.Read(Pattern::LongDate);
    dates->yearMonth = patterns.Read(Pattern::YearMonth);
    dates->monthDay = patterns.Read(Pattern::MonthDay);
    dates->time = patterns.Read(Pattern::Time);
    dates->shortTime = patterns.Read(Pattern::ShortTime);
    HalfDayMarks(tag, dates->am, dates->pm);
    return dates;
}

/// What the platform is known to have otherwise than ICU.
void Correct(LocaleData & data, std::string const & tag)
{
    if (PlatformForm const * const form = FindPlatformForm(tag); form != nullptr)
    {
        if (form->currency != nullptr)
        {
            data.currency = form->currency;
        }
        data.positiveCurrency =
            form->positiveCurrency >= 0 ? static_cast<unsigned>(form->positiveCurrency) : data.positiveCurrency;
        data.negativeCurrency =
            form->negativeCurrency >= 0 ? static_cast<unsigned>(form->negativeCurrency) : data.negativeCurrency;
    }
    if (data.id == 0x041A) // a blank behind the sign of a negative number
    {
        data.negativeNumber = 2;
    }
    if (data.id == 0x0412)
    {
        data.englishRegion = L"Korea";
    }
}

void MakeInvariant(LocaleData & data)
{
    data.isoCurrency = L"XDR";
    data.englishCurrency = data.nativeCurrency = L"International Monetary Fund";
    data.englishLanguage = data.nativeLanguage = L"Invariant Language";
    data.englishRegion = data.nativeRegion = L"Invariant Country";
    data.englishName = L"Invariant Language (Invariant Country)";
    data.language = L"iv";
    data.language3 = L"ivl";
    data.region = L"IV";
    data.region3 = L"IVC";
    data.firstDayOfWeek = 6;
}

std::unique_ptr<LocaleData> MakeData(LCID id)
{
    auto data = std::make_unique<LocaleData>();
    bool const invariant = id == LOCALE_INVARIANT;
    std::string const tag = invariant             ? "und"
                            : id == kCustomLocale ? UserLocaleName()
                                                  : LanguageTag(LocaleAt(FindLocale(id)));
    std::string const platformName = invariant             ? std::string()
                                     : id == kCustomLocale ? tag
                                                           : LocaleAt(FindLocale(id)).name;
    icu::Locale const locale = invariant ? icu::Locale::getUS() : IcuLocale(tag);
    data->id = id;
    data->name = std::wstring(platformName.begin(), platformName.end());
    data->negativeSign = L"-";
    ReadNumbers(*data, locale);
    ReadCurrency(*data, locale);
    ReadNames(*data, locale, tag);
    ReadCalendar(*data, locale);
    data->tag = tag;
    if (invariant)
    {
        MakeInvariant(*data);
    }
    else
    {
        // ICU knows some languages by another name.
        data->language = data->name.substr(0, data->name.find(L'-'));
    }
    Correct(*data, tag);
    data->number.groupingCode = GroupingCode(data->number.grouping);
    data->money.groupingCode = GroupingCode(data->money.grouping);
    data->list = data->number.decimal == L"," ? L";" : L",";
    return data;
}

} // namespace

LocaleData::~LocaleData() { delete dates.load(std::memory_order_relaxed); }

LocaleDates const & LocaleData::Dates() const
{
    LocaleDates const * known = dates.load(std::memory_order_acquire);
    if (known == nullptr)
    {
        std::unique_ptr<LocaleDates> made = MakeDates(tag);
        // Another thread may have been faster.
        if (dates.compare_exchange_strong(known, made.get(), std::memory_order_acq_rel, std::memory_order_acquire))
        {
            known = made.release();
        }
    }
    return *known;
}

unsigned GroupingCode(std::wstring const & grouping)
{
    unsigned code = 0;
    for (wchar_t const character : grouping)
    {
        code = character >= L'0' && character <= L'9' ? code * 10 + static_cast<unsigned>(character - L'0') : code;
    }
    return grouping.empty() || grouping.back() == L'0' ? code / 10 : code * 10;
}

LocaleData const * LocaleDataOf(LCID locale)
{
    // One entry a locale, the invariant one and the user's behind them. They are never freed, so that texts can be
    // written while the process ends.
    static std::mutex s_lock;
    static auto & s_data = *new std::vector<std::atomic<LocaleData const *>>(LocaleCount() + 2);
    thread_local LocaleData const * t_last = nullptr; // most programs ask for one locale again and again
    if (t_last != nullptr && t_last->id == locale)
    {
        return t_last;
    }
    LCID const id = ResolveLocale(locale);
    if (id == 0)
    {
        return nullptr;
    }
    std::size_t const index = id == LOCALE_INVARIANT ? LocaleCount()
                              : id == kCustomLocale  ? LocaleCount() + 1
                                                     : FindLocale(id);
    LocaleData const * data = s_data[index].load(std::memory_order_acquire);
    if (data == nullptr)
    {
        std::unique_ptr<LocaleData> made = MakeData(id);
        std::lock_guard const lock(s_lock);
        data = s_data[index].load(std::memory_order_relaxed); // another thread may have been faster
        if (data == nullptr)
        {
            data = made.release();
            s_data[index].store(data, std::memory_order_release);
        }
    }
    t_last = data;
    return data;
}

} // namespace qvlib::host::internal
