// Price list: the same goods offered in five countries, with the prices, weights, discounts and dates of each.
#include "example.h"

#include <qvlib/UserLocale.h>

#include <vector>

using qvlib::CQVString;

namespace
{

struct Good
{
    char const * name;
    double euros;
    double kilograms;
    double discount; ///< in percent
};

struct Market
{
    unsigned long locale;
    double rate; ///< of its currency for one euro
};

// An operation that fails leaves the text as it is: here a dash, for what is nothing at all.
template <class Format>
std::string Text(Format format)
{
    CQVString text = L"-";
    format(text);
    return Utf8(text);
}

void PrintList(Market const & market, std::vector<Good> const & goods)
{
    CUserLocale const locale(market.locale);
    _SYSTEMTIME validUntil = {2026, 2, 0, 28, 18, 0, 0, 0};
    std::cout << Text([&](CQVString & text) { locale.GetRegionNativeName(text); }) << " ("
              << Text([&](CQVString & text) { locale.GetCurrencyNativeName(text); }) << "), "
              << Text([&](CQVString & text) { locale.GetDateFormatW(DATE_LONGDATE, L"", &validUntil, text); }) << ", "
              << Text([&](CQVString & text) { locale.GetTimeFormatW(TIME_NOSECONDS, L"", &validUntil, text); }) << '\n';
    for (Good const & good : goods)
    {
        double const price = good.euros * market.rate;
        std::cout << "  " << good.name << ": "
                  << Text([&](CQVString & text) { locale.GetCurrencyFormatW(0, price, nullptr, text); }) << ", "
                  << Text([&](CQVString & text) { locale.GetNumberFormatW(0, good.kilograms, nullptr, text); })
                  << " kg, "
                  << Text([&](CQVString & text) { locale.GetPercentFormat(0, good.discount, nullptr, text); })
                  << " off at " << Text([&](CQVString & text) { locale.GetIntegerFormat(0, L"1000", nullptr, text); })
                  << '\n';
    }
    // Money that is owed, in the form of a negative amount.
    std::cout << "  open: " << Text([&](CQVString & text) { locale.GetCurrencyFormatW(0, L"-1234.5", nullptr, text); })
              << '\n';
}

} // namespace

int main()
{
    std::vector<Good> const goods = {
        {"desk", 1249.9, 41.5, 12.5}, {"pencil", 0.07, 0.0062, 0}, {"crane", 1875000, 96000, 3}};
    for (Market const & market :
         {Market{0x409, 1.09}, Market{0x407, 1}, Market{0x411, 160.25}, Market{0x439, 91.5}, Market{0x419, 98}})
        PrintList(market, goods);
}
