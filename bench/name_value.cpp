// Name-value lines of 5, 50 and 500 items, read and written, beside readers of the same data in INI form (one item a
// line): Boost.PropertyTree and GLib's GKeyFile. The floor is a loop written by hand for exactly this form, which skips
// no blanks but makes the same list. An item is a name with its value.
#include "qvlib/NameValueGrammar.h"

#include <benchmark/benchmark.h>
#include <boost/property_tree/ini_parser.hpp>
#ifdef QVLIB_PEER_GLIB
#include <glib.h>
#endif

#include <cwchar>
#include <random>
#include <sstream>
#include <string>

namespace
{

using qvlib::CGenericVal;
using qvlib::CQVString;
using qvlib::CTLNameValueGrammar;
using qvlib::CTLNameValueVector;

CTLNameValueVector Items(benchmark::State const & state)
{
    static wchar_t const * const kWords[] = {L"harbour", L"freight", L"delta", L"ox", L"settlement", L"a", L"invoice"};
    std::mt19937 random(1);
    CTLNameValueVector list;
    for (std::int64_t i = 0; i < state.range(0); ++i)
    {
        std::wstring value;
        for (unsigned words = random() % 4; words > 0; --words)
            value += std::wstring(value.empty() ? L"" : L" ") + kWords[random() % std::size(kWords)];
        std::wstring const name = kWords[random() % std::size(kWords)] + std::to_wstring(i);
        list.emplace_back(name.c_str(), CGenericVal(value.c_str()));
    }
    return list;
}

/// The same items one a line, narrow: as their readers take them.
std::string Ini(benchmark::State const & state)
{
    std::string text = "[s]\n";
    for (auto const & item : Items(state))
    {
        std::wstring const name(item.GetName().GetString());
        std::wstring const value(item.GetValue().GetString().GetString());
        text += std::string(name.begin(), name.end()) + "=" + std::string(value.begin(), value.end()) + "\n";
    }
    return text;
}

void Count(benchmark::State & state) { state.SetItemsProcessed(state.iterations() * state.range(0)); }

bool ReadByHand(wchar_t const * at, CTLNameValueVector & out)
{
    CTLNameValueVector list;
    for (;;)
    {
        wchar_t const * const name = at;
        while ((*at >= L'a' && *at <= L'z') || (*at >= L'0' && *at <= L'9') || (*at >= L'A' && *at <= L'Z'))
            ++at;
        wchar_t const * const nameEnd = at;
        if (name == nameEnd || at[0] != L'=' || at[1] != L'"')
            return false;
        wchar_t const * const value = at += 2;
        while (*at != L'"' && *at != 0)
            ++at;
        if (*at == 0)
            return false;
        list.emplace_back(CQVString(name, static_cast<int>(nameEnd - name)),
                          CGenericVal(CQVString(value, static_cast<int>(at - value))));
        if (*++at == 0)
            break;
        if (*at++ != L',')
            return false;
    }
    out.swap(list);
    return true;
}

void ReadQvlib(benchmark::State & state)
{
    CTLNameValueGrammar const grammar;
    CQVString const text = grammar.Write(Items(state));
    for (auto _ : state)
    {
        CTLNameValueVector list;
        if (!grammar.Read(text.GetString(), list))
            state.SkipWithError("refused");
    }
    Count(state);
}
BENCHMARK(ReadQvlib)->Arg(5)->Arg(50)->Arg(500);

void ReadFloor(benchmark::State & state)
{
    CQVString const text = CTLNameValueGrammar().Write(Items(state));
    for (auto _ : state)
    {
        CTLNameValueVector list;
        if (!ReadByHand(text.GetString(), list))
            state.SkipWithError("refused");
    }
    Count(state);
}
BENCHMARK(ReadFloor)->Arg(5)->Arg(50)->Arg(500);

void ReadPropertyTree(benchmark::State & state)
{
    std::string const text = Ini(state);
    for (auto _ : state)
    {
        std::istringstream stream(text);
        boost::property_tree::ptree tree;
        boost::property_tree::read_ini(stream, tree);
        benchmark::DoNotOptimize(tree);
    }
    Count(state);
}
BENCHMARK(ReadPropertyTree)->Arg(5)->Arg(50)->Arg(500);

void WriteQvlib(benchmark::State & state)
{
    CTLNameValueGrammar const grammar;
    CTLNameValueVector const list = Items(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(grammar.Write(list));
    Count(state);
}
BENCHMARK(WriteQvlib)->Arg(5)->Arg(50)->Arg(500);

void WriteFloor(benchmark::State & state)
{
    CTLNameValueVector const list = Items(state);
    for (auto _ : state)
    {
        std::size_t length = 0;
        for (auto const & item : list)
            length += 4 + item.GetName().View().size() + item.GetValue().GetString().View().size();
        CQVString text;
        text.Preallocate(static_cast<int>(length));
        for (auto const & item : list)
        {
            if (!text.IsEmpty())
                text.AppendChar(L',');
            text.Append(item.GetName());
            text.Append(L"=\"", 2);
            text.Append(item.GetValue().GetString());
            text.AppendChar(L'"');
        }
        benchmark::DoNotOptimize(text);
    }
    Count(state);
}
BENCHMARK(WriteFloor)->Arg(5)->Arg(50)->Arg(500);

/// The floor without the library's string: a std::wstring of the right size, filled in place.
void WriteFloorStdString(benchmark::State & state)
{
    CTLNameValueVector const list = Items(state);
    for (auto _ : state)
    {
        std::size_t length = 0;
        for (auto const & item : list)
            length += 4 + item.GetName().View().size() + item.GetValue().GetString().View().size();
        std::wstring text;
        text.reserve(length);
        for (auto const & item : list)
        {
            if (!text.empty())
                text += L',';
            text += item.GetName().View();
            text += L"=\"";
            text += item.GetValue().GetString().View();
            text += L'"';
        }
        benchmark::DoNotOptimize(text);
    }
    Count(state);
}
BENCHMARK(WriteFloorStdString)->Arg(5)->Arg(50)->Arg(500);

void WritePropertyTree(benchmark::State & state)
{
    std::istringstream in(Ini(state));
    boost::property_tree::ptree tree;
    boost::property_tree::read_ini(in, tree);
    for (auto _ : state)
    {
        std::ostringstream out;
        boost::property_tree::write_ini(out, tree);
        benchmark::DoNotOptimize(out.str());
    }
    Count(state);
}
BENCHMARK(WritePropertyTree)->Arg(5)->Arg(50)->Arg(500);

#ifdef QVLIB_PEER_GLIB
void ReadKeyFile(benchmark::State & state)
{
    std::string const text = Ini(state);
    for (auto _ : state)
    {
        GKeyFile * const file = g_key_file_new();
        if (!g_key_file_load_from_data(file, text.data(), text.size(), G_KEY_FILE_NONE, nullptr))
            state.SkipWithError("refused");
        g_key_file_free(file);
    }
    Count(state);
}
BENCHMARK(ReadKeyFile)->Arg(5)->Arg(50)->Arg(500);

void WriteKeyFile(benchmark::State & state)
{
    std::string const text = Ini(state);
    GKeyFile * const file = g_key_file_new();
    g_key_file_load_from_data(file, text.data(), text.size(), G_KEY_FILE_NONE, nullptr);
    for (auto _ : state)
        g_free(g_key_file_to_data(file, nullptr, nullptr));
    g_key_file_free(file);
    Count(state);
}
BENCHMARK(WriteKeyFile)->Arg(5)->Arg(50)->Arg(500);
#endif

} // namespace

BENCHMARK_MAIN();
