// Copying, converting and comparing variants beside other holders of one value of a type known at run time only.
//
// Every iteration handles a run of values; items a second are values a second. Numbers are half ints, half doubles. A
// short text has 12 characters, a long one 200, and neighbours differ in the last ones. A copy of a variant owns a text
// of its own; QVariant's shares the characters, std::any's and boost::any's (of a wide string) do not. The two anys can
// be neither compared nor converted. `less` is the order by meaning (VarCmp, QVariant's <), `order` the order for
// sorted containers beside the same.
#include <qvlib/Variant.h>
#include <qvlib/VariantCompare.h>

#include <benchmark/benchmark.h>

#include <boost/any.hpp>

#ifdef QVLIB_PEER_QT
#include <QtCore/QVariant>
#endif

#include <any>
#include <string>
#include <vector>

namespace
{

constexpr std::size_t kRun = 64;

enum class Kind
{
    Number,
    ShortText,
    LongText
};

std::wstring TextOf(Kind kind, std::size_t index)
{
    return std::wstring(kind == Kind::ShortText ? 8 : 196, L'x') + std::to_wstring(1000 + index * 37 % 64);
}

struct Ours
{
    using Value = qvlib::qrvariant_t;
    static Value Int(int number) { return Value(number); }
    static Value Double(double number) { return Value(number); }
    static Value Text(std::wstring const & text) { return Value(text.c_str()); }
};

struct OursInOrder : Ours
{
};

struct StdAny
{
    using Value = std::any;
    static Value Int(int number) { return number; }
    static Value Double(double number) { return number; }
    static Value Text(std::wstring const & text) { return text; }
};

struct BoostAny
{
    using Value = boost::any;
    static Value Int(int number) { return number; }
    static Value Double(double number) { return number; }
    static Value Text(std::wstring const & text) { return text; }
};

bool Less(Ours, qvlib::qrvariant_t const & left, qvlib::qrvariant_t const & right) { return left < right; }
bool Less(OursInOrder, qvlib::qrvariant_t const & left, qvlib::qrvariant_t const & right)
{
    return qvlib::TLCompareVariantLess(left, right);
}
std::size_t TextLength(qvlib::qrvariant_t const & value)
{
    qvlib::qrvariant_t text;
    VariantChangeType(&text, value, 0, VT_BSTR);
    return SysStringLen(text.bstrVal);
}
double NumberIn(qvlib::qrvariant_t const & value)
{
    qvlib::qrvariant_t number;
    VariantChangeType(&number, value, 0, VT_R8);
    return number.dblVal;
}

#ifdef QVLIB_PEER_QT
struct Qt
{
    using Value = QVariant;
    static Value Int(int number) { return number; }
    static Value Double(double number) { return number; }
    static Value Text(std::wstring const & text) { return QString::fromStdWString(text); }
};
QT_WARNING_DISABLE_DEPRECATED
bool Less(Qt, QVariant const & left, QVariant const & right) { return left < right; }
std::size_t TextLength(QVariant const & value) { return static_cast<std::size_t>(value.toString().size()); }
double NumberIn(QVariant const & value) { return value.toDouble(); }
#endif

template <class Holder>
std::vector<typename Holder::Value> MakeRun(Kind kind)
{
    std::vector<typename Holder::Value> values;
    for (std::size_t i = 0; i < kRun; ++i)
        values.push_back(kind != Kind::Number ? Holder::Text(TextOf(kind, i))
                         : i % 2 == 0         ? Holder::Int(static_cast<int>(i * 1001))
                                              : Holder::Double(static_cast<double>(i) + 0.25));
    return values;
}

template <class Holder, Kind kind>
void variant_copy(benchmark::State & state)
{
    auto const source = MakeRun<Holder>(kind);
    for (auto _ : state)
        for (auto const & value : source)
        {
            typename Holder::Value copy(value);
            benchmark::DoNotOptimize(copy);
        }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRun));
}

template <class Holder, Kind kind>
void variant_assign(benchmark::State & state)
{
    auto const source = MakeRun<Holder>(kind);
    auto target = MakeRun<Holder>(kind);
    for (auto _ : state)
    {
        for (std::size_t i = 0; i < kRun; ++i)
            target[i] = source[kRun - 1 - i];
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRun));
}

template <class Holder, Kind kind>
void variant_less(benchmark::State & state)
{
    auto const values = MakeRun<Holder>(kind);
    for (auto _ : state)
    {
        std::size_t less = 0;
        for (std::size_t i = 0; i < kRun; ++i)
            less += std::size_t{Less(Holder(), values[i], values[(i + 2) % kRun])};
        benchmark::DoNotOptimize(less);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRun));
}

template <class Holder>
void variant_to_text(benchmark::State & state)
{
    auto const values = MakeRun<Holder>(Kind::Number);
    for (auto _ : state)
        for (auto const & value : values)
            benchmark::DoNotOptimize(TextLength(value));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRun));
}

template <class Holder>
void variant_to_number(benchmark::State & state)
{
    std::vector<typename Holder::Value> values;
    for (std::size_t i = 0; i < kRun; ++i)
        values.push_back(Holder::Text(std::to_wstring(i * 1001) + (i % 2 == 0 ? L"" : L".25")));
    for (auto _ : state)
        for (auto const & value : values)
            benchmark::DoNotOptimize(NumberIn(value));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRun));
}

#define QVLIB_OF_EVERY_KIND(operation, holder)                                                                         \
    BENCHMARK_TEMPLATE(operation, holder, Kind::Number);                                                               \
    BENCHMARK_TEMPLATE(operation, holder, Kind::ShortText);                                                            \
    BENCHMARK_TEMPLATE(operation, holder, Kind::LongText);

QVLIB_OF_EVERY_KIND(variant_copy, Ours)
QVLIB_OF_EVERY_KIND(variant_copy, StdAny)
QVLIB_OF_EVERY_KIND(variant_copy, BoostAny)
QVLIB_OF_EVERY_KIND(variant_assign, Ours)
QVLIB_OF_EVERY_KIND(variant_assign, StdAny)
QVLIB_OF_EVERY_KIND(variant_assign, BoostAny)
QVLIB_OF_EVERY_KIND(variant_less, Ours)
QVLIB_OF_EVERY_KIND(variant_less, OursInOrder)
BENCHMARK_TEMPLATE(variant_to_text, Ours);
BENCHMARK_TEMPLATE(variant_to_number, Ours);
#ifdef QVLIB_PEER_QT
QVLIB_OF_EVERY_KIND(variant_copy, Qt)
QVLIB_OF_EVERY_KIND(variant_assign, Qt)
QVLIB_OF_EVERY_KIND(variant_less, Qt)
BENCHMARK_TEMPLATE(variant_to_text, Qt);
BENCHMARK_TEMPLATE(variant_to_number, Qt);
#endif

} // namespace

BENCHMARK_MAIN();
