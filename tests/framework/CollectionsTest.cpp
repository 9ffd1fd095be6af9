#include "qvlib/framework/collections.h"
#include "qvlib/QVString.h"
#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace
{

template <class List>
std::wstring Joined(List const & list)
{
    std::wstring all;
    for (POSITION at = list.GetHeadPosition(); at != nullptr;)
        all += list.GetNext(at);
    std::wstring backwards;
    for (POSITION at = list.GetTailPosition(); at != nullptr;)
        backwards.insert(0, list.GetPrev(at).GetString());
    EXPECT_EQ(all, backwards); // the links agree both ways
    return all;
}

} // namespace

TEST(Array, KeepsOrderThroughInsertionAndRemoval)
{
    CStringArray array;
    EXPECT_EQ(array.Add(L"a"), 0);
    EXPECT_EQ(array.Add(qvlib::CQVString(L"b")), 1);
    array.InsertAt(1, array[0], 2); // an element of the array itself
    array.SetAtGrow(5, array[3]);
    EXPECT_EQ(array.GetUpperBound(), 5);
    EXPECT_TRUE(array[4].IsEmpty());
    array.RemoveAt(1, 2);
    qvlib::CQVString const last = array[3];
    EXPECT_EQ(std::wstring(array[0]) + array[1].GetString() + last.GetString(), L"abb");

    CStringArray other;
    other.Copy(array);
    EXPECT_EQ(other.Append(array), 4);
    EXPECT_EQ(other.GetCount(), 8);
    other.RemoveAll();
    EXPECT_TRUE(other.IsEmpty());
}

TEST(Array, RefusesPositionsOutside)
{
    CArray<int> array;
    array.SetSize(2);
    EXPECT_EQ(array[1], 0);
    EXPECT_THROW(array[2], CInvalidArgException);
    EXPECT_THROW(array[-1], CInvalidArgException);
    EXPECT_THROW(array.SetAt(2, 1), CInvalidArgException);
    EXPECT_THROW(array.SetSize(-1), CInvalidArgException);
    EXPECT_THROW(array.SetAtGrow(-1, 1), CInvalidArgException);
    EXPECT_THROW(array.InsertAt(-1, 1), CInvalidArgException);
    EXPECT_THROW(array.RemoveAt(1, 2), CInvalidArgException);
    EXPECT_THROW(array.RemoveAt(3, 0), CInvalidArgException);
    EXPECT_THROW(array.Append(array), CInvalidArgException);
}

TEST(List, PositionsSurviveOtherRemovals)
{
    CStringList list;
    POSITION const b = list.AddTail(L"b");
    list.AddHead(L"a");
    POSITION const c = list.InsertAfter(b, L"c");
    list.InsertBefore(nullptr, L"-"); // no place named: the head
    list.RemoveAt(b);
    EXPECT_EQ(Joined(list), L"-ac");
    list.InsertBefore(c, L"x");
    EXPECT_EQ(list.GetAt(c), L"c");
    EXPECT_EQ(list.Find(L"c"), c);
    EXPECT_EQ(list.Find(L"c", c), nullptr);
    EXPECT_EQ(list.FindIndex(3), c);
    EXPECT_EQ(list.FindIndex(4), nullptr);
    EXPECT_EQ(list.RemoveHead(), L"-");
    EXPECT_EQ(list.RemoveTail(), L"c");
    list.AddTail(&list);
    list.AddHead(&list);
    EXPECT_EQ(Joined(list), L"axaxaxax");
}

TEST(List, RefusesNoPosition)
{
    CList<int> list;
    POSITION none = nullptr;
    EXPECT_THROW(list.GetNext(none), CInvalidArgException);
    EXPECT_THROW(list.GetAt(none), CInvalidArgException);
    EXPECT_THROW(list.RemoveAt(none), CInvalidArgException);
    EXPECT_THROW(list.GetHead(), CInvalidArgException);
    EXPECT_THROW(list.RemoveTail(), CInvalidArgException);
    EXPECT_THROW(list.AddTail(static_cast<CList<int> const *>(nullptr)), CInvalidArgException);
}

TEST(List, AddsAllOfAnotherOrNothing)
{
    CList<std::string> source;
    for (char c = 'a'; c < 'e'; ++c)
        source.AddTail(std::string(40, c));
    CList<std::string> list;
    list.AddTail("head");
    qvlib_test::SweepAllocations([&] { list.AddTail(&source); }, [&] { ASSERT_EQ(list.GetCount(), 1); });
    EXPECT_EQ(list.GetCount(), 5);
}

TEST(Map, AgreesWithAModel)
{
    CMap<int, int, int, int> map;
    std::map<int, int> model;
    std::mt19937 random(20240229);
    for (int i = 0; i < 20000; ++i)
    {
        int const key = static_cast<int>(random() % 500) * 1024; // equal low bits
        if (random() % 3 != 0)
            map[key] = model[key] = i;
        else
            ASSERT_EQ(map.RemoveKey(key), model.erase(key) == 1);
        ASSERT_EQ(map.GetCount(), static_cast<INT_PTR>(model.size()));
    }
    std::map<int, int> walked;
    for (POSITION at = map.GetStartPosition(); at != nullptr;)
    {
        int key = 0;
        int value = 0;
        map.GetNextAssoc(at, key, value);
        walked[key] = value;
        if (key % 2048 == 0)
            map.RemoveKey(key); // the walk has already moved on
    }
    EXPECT_EQ(walked, model);
}

TEST(Map, FindsTextByItsCharacters)
{
    CMap<qvlib::CQVString, wchar_t const *, int, int> map;
    map.InitHashTable(1);
    map[L"one"] = 1;
    map.SetAt(qvlib::CQVString(L"two"), 2);
    std::wstring const key = L"two"; // other characters than those that were given
    int value = 0;
    EXPECT_TRUE(map.Lookup(key.c_str(), value));
    EXPECT_EQ(value, 2);
    EXPECT_FALSE(map.Lookup(L"three", value));
    EXPECT_EQ(value, 2);
    auto const * const first = map.PGetFirstAssoc();
    EXPECT_EQ(first->key, L"one");
    EXPECT_EQ(map.PGetNextAssoc(first)->value, 2);
    EXPECT_THROW(map.InitHashTable(5), CInvalidArgException);
    POSITION none = nullptr;
    qvlib::CQVString text;
    EXPECT_THROW(map.GetNextAssoc(none, text, value), CInvalidArgException);
}

namespace
{

int g_comparisons = 0;

/// A string that counts how often it is compared.
struct CountedText : CString
{
    using CString::CString;
    friend bool operator==(CountedText const & a, wchar_t const * b) { return ++g_comparisons, a.Compare(b) == 0; }
};

} // namespace

TEST(Map, NamesMadeToHaveOneHashDoNotMeet)
{
    // The last character of each name is chosen so that HashKey is the same for all of them.
    constexpr std::uint32_t kInverse = 0x359C449B; // of the prime that HashKey multiplies with
    CMap<CountedText, wchar_t const *, int, int> map;
    int count = 0;
    UINT const common = HashKey<wchar_t const *>(L"common");
    for (wchar_t first = 1; first <= 300; ++first)
    {
        std::wstring name = {L'n', first, L'?'};
        std::uint32_t const before = HashKey<wchar_t const *>(name.substr(0, 2).c_str());
        name[2] = static_cast<wchar_t>((common * kInverse) ^ before);
        ASSERT_EQ(HashKey<wchar_t const *>(name.c_str()), common);
        map[name.c_str()] = ++count;
    }
    EXPECT_EQ(map.GetCount(), 300);
    EXPECT_LT(g_comparisons, 30);
}

TEST(Map, AFailedInsertionLeavesNothingBehind)
{
    CMap<std::string, std::string const &, int, int> map;
    for (int i = 0; i < 17; ++i)
        map[std::to_string(i)] = i;
    std::string const key(50, 'k'); // the eighteenth: the table has to grow
    qvlib_test::SweepAllocations([&] { map[key] = 1; }, [&] { ASSERT_EQ(map.GetCount(), 17); });
    for (int i = 0; i < 17; ++i)
        EXPECT_EQ(map[std::to_string(i)], i);
    EXPECT_EQ(map.GetCount(), 18);
}
