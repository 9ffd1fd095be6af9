#include "text/internal/name_value_reader.h"

#include "qvlib/Exceptions.h"
#include "qvlib/host/crt.h"

#if defined(__GNUC__) && !defined(__clang__)
// Under the sanitizers g++ takes a match without an attribute, which nobody reads, for one that was forgotten.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <boost/spirit/include/classic_core.hpp>

#include <cwchar>

namespace qvlib
{

namespace
{

namespace sp = boost::spirit::classic;

// The parser library asks the C library about characters, which depends on the locale; here the platform's answers
// stand in for it. The rules are composed in place, not in the library's grammar objects: those share a registry that
// is not safe between threads.

bool IsBlank(wchar_t c) noexcept
{
    return static_cast<unsigned>(c) < 0x80 ? c == L' ' || (c >= L'\t' && c <= L'\r')
                                           : host::iswspace(static_cast<int>(c));
}

/// Passes over blanks in front of every element.
struct BlankSkipper : sp::skipper_iteration_policy<>
{
    BlankSkipper() = default;
    template <class Other>
    BlankSkipper(Other const & other) : sp::skipper_iteration_policy<>(other)
    {
    }
    template <class Scanner>
    void skip(Scanner const & scan) const
    {
        while (scan.first != scan.last && IsBlank(*scan.first))
            ++scan.first;
    }
};

using Scanner = sp::scanner<wchar_t const *, sp::scanner_policies<BlankSkipper>>;

/// One letter or digit.
struct Alphanumeric : sp::char_parser<Alphanumeric>
{
    using self_t = Alphanumeric;
    bool test(wchar_t c) const noexcept
    {
        return static_cast<unsigned>(c - L'a') < 26 || static_cast<unsigned>(c - L'A') < 26 ||
               static_cast<unsigned>(c - L'0') < 10 ||
               (static_cast<unsigned>(c) >= 0x80 && host::iswalnum(static_cast<int>(c)));
    }
};

/// Shows the input in lower case.
template <class Base>
struct LowerCase : Base
{
    template <class Other>
    LowerCase(Other const & other) : Base(other)
    {
    }
    template <class Character>
    Character filter(Character c) const
    {
        return host::towlower(Base::filter(c));
    }
};

/// A literal in lower case, matched without regard to case.
struct LowerCaseLiteral : sp::parser<LowerCaseLiteral>
{
    using self_t = LowerCaseLiteral;
    LowerCaseLiteral(wchar_t const * first, wchar_t const * last) : literal(first, last) {}
    template <class AnyScanner>
    typename sp::parser_result<self_t, AnyScanner>::type parse(AnyScanner const & scan) const
    {
        using Policies =
            sp::scanner_policies<LowerCase<typename AnyScanner::iteration_policy_t>,
                                 typename AnyScanner::match_policy_t, typename AnyScanner::action_policy_t>;
        return literal.parse(scan.change_policies(Policies(scan)));
    }
    sp::strlit<wchar_t const *> literal;
};

struct name_assign_actor
{
    CTLNameValue & item;
    void operator()(wchar_t const * first, wchar_t const * last) const
    {
        item.SetName(CQVString(first, static_cast<int>(last - first)));
    }
};

struct value_assign_actor
{
    CTLNameValue & item;
    void operator()(wchar_t const * first, wchar_t const * last) const
    {
        item.GetValue().SetString(CQVString(first, static_cast<int>(last - first)));
        if (item.GetValue().GetType() != VT_LPWSTR)
            throw unexpected_error();
    }
};

struct item_push_back_actor
{
    CTLNameValue const & item;
    CTLNameValueVector & result;
    void operator()(wchar_t const *, wchar_t const *) const { result.push_back(item); }
};

/// One use of a grammar: `Separator` is the parser of what stands between two items.
template <class Separator>
struct Grammar
{
    CQVString const & separator;
    CTLNameValueVector & result;
    CTLNameValue item = {};

    bool Parse(wchar_t const * first, wchar_t const * last)
    {
        auto const quote = sp::ch_p(L'"');
        auto const equals = sp::ch_p(L'=');
        auto const name = sp::lexeme_d[(+Alphanumeric())[name_assign_actor{item}]];
        auto const value = quote >> (*(sp::anychar_p - quote))[value_assign_actor{item}] >> quote;
        auto const nameAndValue = (name >> equals >> value)[item_push_back_actor{item, result}];
        Separator const between(separator.GetString(), separator.GetString() + separator.GetLength());
        auto const list = nameAndValue >> *(between >> nameAndValue);

        Scanner const scan(first, last);
        if (!list.parse(scan))
            return false;
        return scan.at_end(); // past trailing blanks
    }
};

using NameValueGrammar = Grammar<sp::strlit<wchar_t const *>>;
using NameValueGrammarNoCase = Grammar<LowerCaseLiteral>;

} // namespace

bool ReadNameValues(wchar_t const * text, CQVString const & separator, bool caseSensitive, CTLNameValueVector & result)
{
    wchar_t const * const last = text + std::wcslen(text);
    return caseSensitive ? NameValueGrammar{separator, result}.Parse(text, last)
                         : NameValueGrammarNoCase{separator, result}.Parse(text, last);
}

} // namespace qvlib
