#include "support/allocation_sweep.h"
#include "values/generic_values.h"

#include "qvlib/DateTime.h"
#include "qvlib/Exceptions.h"
#include "qvlib/GenericVal.h"
#include "qvlib/JulianDate.h"
#include "qvlib/framework/comutil.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace
{

using qvlib::CBlob;
using qvlib::CDateTime;
using qvlib::CGenericVal;
using qvlib::CQVString;
using qvlib::VarType;

/// Shows what the protected operations do.
struct Exposed : CGenericVal
{
    using CGenericVal::CGenericVal;
    using CGenericVal::ChangeType;
};

CGenericVal::Closure Object(int & object)
{
    return [&object](std::type_info const * type) -> void *
    { return type == nullptr || *type == typeid(int) ? &object : nullptr; };
}

CGenericVal WithError(long code)
{
    CGenericVal value;
    value.SetError(code);
    return value;
}

/// One value of every kind that a value can be of.
std::vector<CGenericVal> OneOfEach(int & object)
{
    std::vector<CGenericVal> values = qvlib_test::PlainValues();
    values.insert(values.end(), {CGenericVal(CBlob("bytes", 5)), CGenericVal(Object(object)), WithError(7)});
    return values;
}

TEST(GenericVal, EachTypeGivesItsTagAndIsReadByThatTypeAlone)
{
    auto const check = [](auto argument, VARENUM tag)
    {
        using T = decltype(argument);
        CGenericVal const value(argument);
        EXPECT_EQ(value.GetType(), VarType(tag));
        T read{};
        EXPECT_TRUE(value.GetValue(read));
        EXPECT_TRUE(read == argument);
        int object = 0;
        for (CGenericVal const & other : OneOfEach(object))
        {
            T untouched = argument;
            EXPECT_EQ(other.GetValue(untouched), other.GetType() == tag);
            EXPECT_TRUE(untouched == argument || other.GetType() == tag);
        }
    };
    check(true, VarType::Bool);
    check('x', VarType::Char);
    check(static_cast<unsigned char>(255), VarType::Byte);
    check(static_cast<short>(-32768), VarType::Short);
    check(static_cast<unsigned short>(65535), VarType::UShort);
    check(-1, VarType::Int);
    check(4294967295U, VarType::UInt);
    check(-2147483647L, VarType::Long);
    check(4294967295UL, VarType::ULong);
    check(std::numeric_limits<__int64>::min(), VarType::Long64);
    check(~0ULL, VarType::ULong64);
    check(0.1F, VarType::Float);
    check(0.1, VarType::Double);
    check(CQVString(L"text"), VarType::String);
    check(CBlob("ab", 2), VarType::Blob);
    check(CDateTime(2.5), VarType::Date);
}

TEST(GenericVal, TextPointersDatesAndEmptyValues)
{
    CGenericVal const text(L"text");
    wchar_t const * read = nullptr;
    ASSERT_TRUE(text.GetValue(read));
    EXPECT_EQ(read, text.GetString().GetString());
    EXPECT_TRUE(CGenericVal(static_cast<wchar_t const *>(nullptr)) == CGenericVal(L""));
    EXPECT_TRUE(CGenericVal(qvlib::CJulianDate(44927UL)) == CGenericVal(CDateTime(44927.0)));
    EXPECT_EQ(CGenericVal(qvlib::CJulianDate(0xFFFFFFFFUL)).GetDate(), 4294967295.0);

    CGenericVal const empty;
    EXPECT_TRUE(empty.IsEmpty() && empty == CGenericVal());
    EXPECT_TRUE(empty.GetAsString().IsEmpty());
    EXPECT_EQ(empty.GetAsDouble(), 0.0);
    EXPECT_TRUE(empty.GetAsVariant() == _variant_t(0));
}

TEST(GenericVal, LongsMeanThirtyTwoBits)
{
    EXPECT_EQ(CGenericVal(~0UL).GetULong(), 0xFFFFFFFFUL);
    EXPECT_EQ(CGenericVal(-1L).GetLong(), -1L);
    if (sizeof(long) == 4)
        return;
    long const wide = static_cast<long>(0x100000000LL);
    CGenericVal value(L"kept");
    EXPECT_THROW(CGenericVal{wide}, qvlib::argument_out_of_range_exception);
    EXPECT_THROW(value.SetLong(wide), qvlib::argument_out_of_range_exception);
    EXPECT_THROW(value.SetULong(static_cast<unsigned long>(wide)), qvlib::argument_out_of_range_exception);
    EXPECT_THROW(value.SetError(-wide), qvlib::argument_out_of_range_exception);
    EXPECT_TRUE(value == CGenericVal(L"kept"));
    EXPECT_EQ(CGenericVal(static_cast<long>(0xFFFFFFFFUL)).GetLong(), -1L);
}

TEST(GenericVal, UncheckedReadersTakeThePayloadAsItIs)
{
    CGenericVal value(static_cast<unsigned __int64>(0x1122334455667788ULL));
    EXPECT_EQ(value.GetInt(), 0x55667788);
    EXPECT_EQ(value.GetULong(), 0x55667788UL);
    EXPECT_EQ(value.GetShort(), 0x7788);
    EXPECT_EQ(value.GetByte(), 0x88);
    EXPECT_TRUE(value.GetBool());
    value.SetByte(1); // the rest of the payload stays
    EXPECT_EQ(value.GetULong64(), 0x1122334455667701ULL);
    CGenericVal unsignedInt(4294967295U);
    static_assert(std::is_same_v<decltype(unsignedInt.GetUInt()), int>); // signed: callers depend on it
    EXPECT_EQ(unsignedInt.GetUInt(), -1);
    static_assert(!std::is_polymorphic_v<CGenericVal>);
}

TEST(GenericVal, ReferencesIntoTheValueWantTheExactTag)
{
    int object = 5;
    std::vector<CGenericVal> all = OneOfEach(object);
    for (CGenericVal & value : all)
    {
        auto const check = [&](VARENUM tag, auto const & read)
        {
            if (value.GetType() == tag)
                EXPECT_NO_THROW(read());
            else
                EXPECT_THROW(read(), qvlib::unexpected_error);
        };
        check(VarType::String, [&] { value.GetString() += L"!"; });
        check(VarType::Blob, [&] { value.GetBlob().GetBuffer()[0] = 'B'; });
        check(VarType::UserDefined, [&] { EXPECT_EQ(std::as_const(value).GetClosure()(&typeid(int)), &object); });
    }
}

TEST(GenericVal, CopiesAndMovesBetweenAllKinds)
{
    int object = 0;
    std::vector<CGenericVal> const all = OneOfEach(object);
    auto const same = [](CGenericVal const & left, CGenericVal const & right)
    {
        return left.GetType() == right.GetType() &&
               (left == right || (left.GetType() == VarType::Error && left.GetError() == right.GetError()));
    };
    for (CGenericVal const & from : all)
        for (CGenericVal const & to : all)
        {
            CGenericVal target(to);
            EXPECT_TRUE(same(target, to));
            static_assert(std::is_same_v<decltype(target = from), CGenericVal const &>);
            target = from;
            EXPECT_TRUE(same(target, from));
            CGenericVal source(from);
            target = to;
            target = std::move(source);
            EXPECT_TRUE(same(target, from));
            EXPECT_TRUE(source.IsEmpty());
            CGenericVal const made(std::move(target));
            EXPECT_TRUE(same(made, from) && target.IsEmpty());
            target.Copy(made);
            target.Copy(target);
            EXPECT_TRUE(same(target, from));
            target.Move(target);
            EXPECT_TRUE(target.IsEmpty());
        }
}

TEST(GenericVal, CopyingSharesAndAllocatesNothing)
{
    std::vector<CGenericVal> const sources = {CGenericVal(7), CGenericVal(2.5), CGenericVal(L"a text of some length"),
                                              CGenericVal(CBlob("some bytes", 10))};
    std::vector<CGenericVal> targets(sources.size());
    std::size_t allocations = 0;
    for (int round = 0; round < 3; ++round)
        for (std::size_t i = 0; i < sources.size(); ++i)
        {
            qvlib_test::AllocationCount const count;
            CGenericVal const copy(sources[i]);
            targets[(i + static_cast<std::size_t>(round)) % targets.size()] = copy;
            bool const compared = copy == sources[i] && !(copy < sources[i]);
            allocations += count.Value() + (compared ? 0 : 1);
        }
    EXPECT_EQ(allocations, 0U);
    EXPECT_EQ(CGenericVal(sources[3]).GetBlob().GetData(), sources[3].GetBlob().GetData());
    EXPECT_EQ(CGenericVal(sources[2]).GetString().GetString(), sources[2].GetString().GetString());
}

/// A closure target that holds values of its own, and may fail to be copied.
struct Owner
{
    std::shared_ptr<std::vector<CGenericVal>> kept = std::make_shared<std::vector<CGenericVal>>(3);
    void * operator()(std::type_info const *) const { return kept->data(); }
};

TEST(GenericVal, ArgumentsMayLieInTheValueItself)
{
    CGenericVal value(L"text");
    value.SetString(value.GetString());
    EXPECT_TRUE(value == CGenericVal(L"text"));
    EXPECT_TRUE(value.Parse(value.GetString(), VarType::String));
    EXPECT_TRUE(value.SmartConvert(value.GetString()));
    EXPECT_TRUE(value == CGenericVal(L"text"));
    value.SetString(L"12");
    EXPECT_TRUE(value.SmartConvert(value.GetString()));
    EXPECT_TRUE(value == CGenericVal(12));
    value = CGenericVal(CBlob("ab", 2));
    value.SetBlob(value.GetBlob());
    EXPECT_TRUE(value == CGenericVal(CBlob("ab", 2)));

    // Values and texts that only the closure keeps alive, and that end with it.
    for (std::size_t which = 0; which < 3; ++which)
        for (int way = 0; way < 3; ++way)
        {
            Owner owner;
            std::vector<CGenericVal> & kept = *owner.kept;
            kept = {CGenericVal(L"inner text"), CGenericVal(CBlob("xyz", 3)), CGenericVal(77LL)};
            CGenericVal const expected = kept[which];
            value.SetClosure(owner);
            owner.kept.reset();
            if (way == 0)
                value = kept[which];
            else if (way == 1)
                value = std::move(kept[which]);
            else if (which == 0)
                value.SetString(kept[0].GetString());
            else if (which == 1)
                value.SetBlob(kept[1].GetBlob());
            else
                value.SetLong64(kept[2].GetLong64());
            EXPECT_TRUE(value == expected);
        }
    Owner outer;
    (*outer.kept)[0] = CGenericVal(CGenericVal::Closure(Owner()));
    std::vector<CGenericVal> & kept = *outer.kept;
    value.SetClosure(outer);
    outer.kept.reset();
    value.SetClosure(kept[0].GetClosure());
    EXPECT_NE(value.GetClosure()(nullptr), nullptr);
}

TEST(GenericVal, AFailedCopyLeavesTheTarget)
{
    struct Large
    {
        double numbers[8] = {};
        void * operator()(std::type_info const *) const { return nullptr; }
    };
    CGenericVal const source{CGenericVal::Closure(Large())};
    CGenericVal target(L"kept");
    std::size_t const hit =
        qvlib_test::SweepAllocations([&] { target = source; }, [&] { EXPECT_TRUE(target == CGenericVal(L"kept")); });
    EXPECT_GE(hit, 1U);
    EXPECT_TRUE(target.GetType().IsUserDefined());
}

TEST(GenericVal, ChangeTypeBuildsAndKeepsObjects)
{
    Exposed value(5);
    value.ChangeType(VarType::String);
    EXPECT_TRUE(value.GetString().IsEmpty());
    value.SetString(L"kept");
    value.ChangeType(VarType::String);
    EXPECT_TRUE(value == CGenericVal(L"kept"));
    value.ChangeType(VarType::Blob);
    EXPECT_TRUE(value.GetBlob().IsEmpty());
    value.ChangeType(VarType::UserDefined);
    EXPECT_FALSE(value.GetClosure());
    EXPECT_THROW(static_cast<void>(value == value), std::bad_function_call);
    value.Empty();
    EXPECT_TRUE(value.IsEmpty());
}

TEST(GenericVal, EqualityNeverCrossesTags)
{
    int object = 0;
    std::vector<CGenericVal> const all = OneOfEach(object);
    for (std::size_t i = 0; i < all.size(); ++i)
        for (std::size_t j = 0; j < all.size(); ++j)
            EXPECT_EQ(all[i] == all[j], i == j && all[i].GetType() != VarType::Error) << i << ' ' << j;
    EXPECT_FALSE(CGenericVal(1) == CGenericVal(1L));
    EXPECT_FALSE(WithError(5) == WithError(5)); // required as it stands
    double const nan = std::nan("");
    EXPECT_FALSE(CGenericVal(nan) == CGenericVal(nan));
    EXPECT_TRUE(CGenericVal(0.0) == CGenericVal(-0.0));
    EXPECT_FALSE(CGenericVal(L"a") == CGenericVal(L"A"));
    int other = 0;
    EXPECT_FALSE(CGenericVal(Object(object)) == CGenericVal(Object(other)));
}

TEST(GenericVal, OrdersByTagNumberThenByContent)
{
    EXPECT_FALSE(CGenericVal(1) < CGenericVal(1L));
    EXPECT_TRUE(CGenericVal(1L) < CGenericVal(1));
    EXPECT_TRUE(CGenericVal(static_cast<short>(9)) < CGenericVal(L""));
    auto const ordered = [](CGenericVal const & low, CGenericVal const & high)
    { return low < high && !(high < low) && !(low < low); };
    EXPECT_TRUE(ordered(static_cast<short>(-1), static_cast<short>(1)));
    EXPECT_TRUE(ordered(static_cast<unsigned short>(1), static_cast<unsigned short>(65535)));
    EXPECT_TRUE(ordered(-1, 1));
    EXPECT_TRUE(ordered(-1L, 1L));
    EXPECT_TRUE(ordered(1U, 4294967295U));
    EXPECT_TRUE(ordered(1UL, 4294967295UL));
    EXPECT_TRUE(ordered(-1LL, 1LL));
    EXPECT_TRUE(ordered(0xFFFFFFFFLL, 0x100000000LL));
    EXPECT_TRUE(ordered(1ULL, ~0ULL));
    EXPECT_TRUE(ordered(static_cast<char>(-1), 'a'));
    EXPECT_TRUE(ordered(static_cast<unsigned char>(1), static_cast<unsigned char>(255)));
    EXPECT_TRUE(ordered(false, true));
    EXPECT_TRUE(ordered(-1.5F, 1.5F));
    EXPECT_TRUE(ordered(CDateTime(-1), CDateTime(1)));
    EXPECT_TRUE(ordered(L"A", L"a"));
    int objects[2] = {};
    EXPECT_TRUE(ordered(Object(objects[0]), Object(objects[1])));
    CGenericVal const nan(std::nan(""));
    EXPECT_FALSE(nan < CGenericVal(1.0) || CGenericVal(1.0) < nan);
    CBlob const blob("ab", 2);
    CGenericVal const one(blob);
    CGenericVal const shared(blob);
    CGenericVal const twin(blob.Clone());
    EXPECT_TRUE(one == twin && (one < twin) != (twin < one)); // by identity, although equal
    EXPECT_FALSE(one < shared || shared < one);
    CGenericVal stale(L"text");
    stale.Empty();
    EXPECT_FALSE(stale < CGenericVal() || CGenericVal() < stale);
}

TEST(GenericVal, ReadsAsNumberAndText)
{
    struct Case
    {
        CGenericVal value;
        double number;
        long signed32;
        wchar_t const * text;
    };
    int object = 0;
    Case const cases[] = {
        {CGenericVal(static_cast<short>(-2)), -2, -2, L"-2"},
        {CGenericVal(-3L), -3, -3, L"-3"},
        {CGenericVal(-4), -4, -4, L"-4"},
        {CGenericVal('A'), 65, 65, L"A"},
        {CGenericVal(static_cast<char>(0xC3)), -61, -61, L"\uFFFD"},
        {CGenericVal(true), 1, 0, L"True"},
        {CGenericVal(static_cast<unsigned char>(200)), 200, 0, L"200"},
        {CGenericVal(static_cast<unsigned short>(65535)), 65535, 0, L"65535"},
        {CGenericVal(4294967295UL), 4294967295.0, 0, L"4294967295"},
        {CGenericVal(4294967295U), 4294967295.0, 0, L"4294967295"},
        {CGenericVal(-9LL), -9, 0, L"-9"},
        {CGenericVal(~0ULL), 18446744073709551615.0, 0, L"18446744073709551615"},
        {CGenericVal(0.1F), 0.1F, 0, L"0.1"},
        {CGenericVal(0.5), 0.5, 0, L"0.5"},
        {CGenericVal(0.05), 0.05, 0, L"0.0500000000000000"},
        {CGenericVal(L"12"), 0, 0, L"12"},
        {CGenericVal(CBlob("abc", 3)), 0, 0, L"YWJj"},
        {CGenericVal(Object(object)), 0, 0, L""},
        {WithError(5), 0, 0, L""},
    };
    for (Case const & each : cases)
    {
        SCOPED_TRACE(each.value.GetType().ToString());
        EXPECT_EQ(each.value.GetAsDouble(), each.number);
        EXPECT_EQ(each.value.GetSignedIntegral32(), each.signed32);
        EXPECT_STREQ(each.value.ToString().GetString(), each.text);
    }
    EXPECT_EQ(CGenericVal(CDateTime(2.5)).GetAsDouble(), 2.5);
    EXPECT_TRUE(CGenericVal(CDateTime(2.5)).GetAsString() == CDateTime(2.5).ToString());
}

TEST(GenericVal, TravelsThroughVariants)
{
    int object = 0;
    for (CGenericVal const & value : OneOfEach(object))
    {
        SCOPED_TRACE(value.GetType().ToString());
        _variant_t const variant = value;
        CGenericVal back(L"old");
        ASSERT_TRUE(back.SetAsVariant(variant));
        switch (static_cast<VARENUM>(value.GetType()))
        {
        case VarType::Date: // a plain number from here on: required as it stands
            EXPECT_TRUE(variant.vt == VT_R8 && back == CGenericVal(value.GetDate()));
            break;
        case VarType::Empty:
        case VarType::Error:
        case VarType::Blob:
        case VarType::UserDefined:
            EXPECT_TRUE(variant == _variant_t(0));
            break;
        default:
            EXPECT_EQ(variant.vt, value.GetType().IsString() ? VT_BSTR : static_cast<VARENUM>(value.GetType()));
            EXPECT_TRUE(back == value);
        }
    }
    EXPECT_EQ(CGenericVal(true).ToVariant().boolVal, VARIANT_TRUE);
    EXPECT_TRUE(CGenericVal(_variant_t(2.5, VT_DATE)) == CGenericVal(CDateTime(2.5)));
    EXPECT_TRUE(CGenericVal(_variant_t()).IsEmpty());
    CGenericVal kept(5);
    short number = 7;
    VARIANT byReference{};
    byReference.vt = VT_BYREF | VT_I2;
    byReference.piVal = &number;
    EXPECT_FALSE(kept.SetAsVariant(_variant_t(byReference)));
    EXPECT_FALSE(kept.SetAsVariant(_variant_t()));
    EXPECT_FALSE(kept.SetAsVariant(_variant_t(static_cast<IUnknown *>(nullptr))));
    EXPECT_TRUE(kept == CGenericVal(5));
    EXPECT_THROW(
        {
            Exposed never;
            never.ChangeType(VarType::ComString);
            never.GetAsVariant();
        },
        qvlib::unexpected_error);
}

TEST(GenericVal, ParsesTextOfEveryType)
{
    struct Case
    {
        VARENUM type;
        wchar_t const * text;
        CGenericVal expected;
    };
    Case const cases[] = {
        {VarType::Empty, L"anything", CGenericVal()},
        {VarType::Short, L"70000", CGenericVal(static_cast<short>(4464))},
        {VarType::Long, L" -12x", CGenericVal(-12L)},
        {VarType::Int, L"abc", CGenericVal(0)},
        {VarType::Int, L"99999999999", CGenericVal(2147483647)},
        {VarType::Byte, L"257", CGenericVal(static_cast<unsigned char>(1))},
        {VarType::UShort, L"-1", CGenericVal(static_cast<unsigned short>(65535))},
        {VarType::ULong, L"4000000000", CGenericVal(2147483647UL)}, // a signed parser: required as it stands
        {VarType::ULong, L"-1", CGenericVal(4294967295UL)},
        {VarType::UInt, L"-1", CGenericVal(4294967295U)},
        {VarType::Long64, L"-9223372036854775808", CGenericVal(std::numeric_limits<__int64>::min())},
        {VarType::ULong64, L"18446744073709551615", CGenericVal(~0ULL)},
        {VarType::Float, L"0.1", CGenericVal(0.1F)},
        {VarType::Double, L"1e3", CGenericVal(1000.0)},
        {VarType::Date, L"1/1/2023", CGenericVal(CDateTime(44927.0))},
        {VarType::Bool, L"yes", CGenericVal(true)},
        {VarType::Char, L"Abc", CGenericVal('A')},
        {VarType::Char, L"\u20AC", CGenericVal(static_cast<char>(0xE2))},
        {VarType::AnsiString, L"text", CGenericVal(L"text")},
        {VarType::String, L"text", CGenericVal(L"text")},
    };
    for (Case const & each : cases)
    {
        SCOPED_TRACE(VarType::ToString(each.type));
        CGenericVal value(L"old");
        EXPECT_TRUE(value.Parse(each.text, each.type));
        EXPECT_TRUE(value == each.expected);
    }
}

TEST(GenericVal, RefusesTextWithoutChange)
{
    CGenericVal value(L"old");
    for (VARENUM const type : {VarType::Blob, VarType::UserDefined, VarType::Error, VarType::Null, VarType::ComString,
                               VarType::Array, VarType::Dispatch})
        EXPECT_FALSE(value.TryParse(L"text", type));
    EXPECT_FALSE(value.Parse(L"no date", VarType::Date));
    for (VARENUM const type : {VarType::Int, VarType::Date, VarType::Bool, VarType::Char, VarType::Blob})
        EXPECT_FALSE(value.Parse(L"", type) || value.Parse(nullptr, type));
    EXPECT_FALSE(value.SmartConvert(L"") || value.SmartConvert(nullptr));
    EXPECT_TRUE(value == CGenericVal(L"old"));
    EXPECT_TRUE(value.Parse(nullptr, VarType::AnsiString) && value == CGenericVal(L""));
    EXPECT_TRUE(value.Parse(L"", VarType::Empty) && value.IsEmpty());
}

TEST(GenericVal, SmartConvertTakesTheTypeFromTheLook)
{
    struct Case
    {
        wchar_t const * text;
        CGenericVal expected;
    };
    Case const cases[] = {
        {L"12", CGenericVal(12)},
        {L"1", CGenericVal(1)},
        {L"-99999999999", CGenericVal(std::numeric_limits<int>::min())},
        {L"12.5", CGenericVal(12.5)},
        {L"1e5", CGenericVal(1e5)},
        {L"1/1/2023", CGenericVal(CDateTime(44927.0))},
        {L"TRUE", CGenericVal(true)},
        {L"false", CGenericVal(false)},
        {L"yes", CGenericVal(L"yes")},
        {L" true", CGenericVal(L" true")},
        {L" ", CGenericVal(L" ")},
    };
    for (Case const & each : cases)
    {
        SCOPED_TRACE(std::string(each.text, each.text + std::wcslen(each.text)));
        CGenericVal value;
        EXPECT_TRUE(value.SmartConvert(each.text));
        EXPECT_TRUE(value == each.expected);
    }
}

} // namespace
