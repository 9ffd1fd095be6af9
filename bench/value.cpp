// Copying and comparing tagged values beside other ways to hold one value of a type known at run time only.
//
// Every iteration handles a run of values, so that a result is the time of one operation times kRun. Copies are made
// into values that already hold something of the same kind, as in a record that is refilled, and into new ones.
// std::any cannot be compared. The counter `allocations` tells how often one copy takes memory.
#include <qvlib/Blob.h>
#include <qvlib/GenericVal.h>

#include <benchmark/benchmark.h>

#ifdef QVLIB_PEER_QT
#include <QtCore/QVariant>
#endif

#include <any>
#include <cstdlib>
#include <new>
#include <string>
#include <variant>
#include <vector>

namespace
{
std::size_t allocations = 0;
}

void * operator new(std::size_t size)
{
    ++allocations;
    if (void * const block = std::malloc(size == 0 ? 1 : size))
        return block;
    throw std::bad_alloc();
}
void operator delete(void * block) noexcept { std::free(block); }
void operator delete(void * block, std::size_t) noexcept { std::free(block); }

namespace
{

constexpr std::size_t kRun = 64;

using Bytes = std::vector<unsigned char>;

enum class Kind
{
    Number,
    ShortText,
    LongText,
    Block,
    Mixed
};

std::wstring TextOf(Kind kind, std::size_t index)
{
    return std::wstring(kind == Kind::ShortText ? 6 : 200, L'x') + std::to_wstring(index);
}

Bytes BytesOf(std::size_t index)
{
    Bytes bytes(4096, 7);
    bytes.back() = static_cast<unsigned char>(index);
    return bytes;
}

struct Ours
{
    using Value = qvlib::CGenericVal;
    static Value Number(double number) { return Value(number); }
    static Value Text(std::wstring const & text) { return Value(text.c_str()); }
    static Value Blob(Bytes const & bytes) { return Value(qvlib::CBlob(bytes.data(), bytes.size())); }
};

struct StdVariant
{
    using Value = std::variant<std::monostate, bool, int, long long, double, std::wstring, Bytes>;
    static Value Number(double number) { return number; }
    static Value Text(std::wstring const & text) { return text; }
    static Value Blob(Bytes const & bytes) { return bytes; }
};

struct StdAny
{
    using Value = std::any;
    static Value Number(double number) { return number; }
    static Value Text(std::wstring const & text) { return text; }
    static Value Blob(Bytes const & bytes) { return bytes; }
};

#ifdef QVLIB_PEER_QT
struct Qt
{
    using Value = QVariant;
    static Value Number(double number) { return number; }
    static Value Text(std::wstring const & text) { return QString::fromStdWString(text); }
    static Value Blob(Bytes const & bytes)
    {
        return QByteArray(reinterpret_cast<char const *>(bytes.data()), static_cast<int>(bytes.size()));
    }
};
#endif

template <class Holder>
typename Holder::Value Make(Kind kind, std::size_t index)
{
    switch (kind)
    {
    case Kind::Number:
        return Holder::Number(static_cast<double>(index) + 0.5);
    case Kind::ShortText:
    case Kind::LongText:
        return Holder::Text(TextOf(kind, index));
    case Kind::Block:
        return Holder::Blob(BytesOf(index));
    default:
        return Make<Holder>(static_cast<Kind>(index % 4), index);
    }
}

template <class Holder>
std::vector<typename Holder::Value> MakeRun(Kind kind)
{
    std::vector<typename Holder::Value> values;
    for (std::size_t i = 0; i < kRun; ++i)
        values.push_back(Make<Holder>(kind, i));
    return values;
}

template <class Holder, Kind kind>
void value_copy(benchmark::State & state)
{
    auto const source = MakeRun<Holder>(kind);
    std::size_t const before = allocations;
    for (auto _ : state)
        for (auto const & value : source)
        {
            typename Holder::Value copy(value);
            benchmark::DoNotOptimize(copy);
        }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(allocations - before) / kRun, benchmark::Counter::kAvgIterations);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRun));
}

template <class Holder, Kind kind>
void value_assign(benchmark::State & state)
{
    auto const source = MakeRun<Holder>(kind);
    auto target = MakeRun<Holder>(kind);
    std::size_t const before = allocations;
    for (auto _ : state)
    {
        for (std::size_t i = 0; i < kRun; ++i)
            target[i] = source[kRun - 1 - i];
        benchmark::ClobberMemory();
    }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(allocations - before) / kRun, benchmark::Counter::kAvgIterations);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRun));
}

// Equal values with contents of their own, and each value against its neighbour.
template <class Holder, Kind kind>
void value_compare(benchmark::State & state)
{
    auto const left = MakeRun<Holder>(kind);
    auto const right = MakeRun<Holder>(kind);
    for (auto _ : state)
    {
        std::size_t equal = 0;
        for (std::size_t i = 0; i < kRun; ++i)
            equal += std::size_t{left[i] == right[i]} + std::size_t{left[i] == right[(i + 1) % kRun]};
        benchmark::DoNotOptimize(equal);
    }
    state.SetItemsProcessed(2 * state.iterations() * static_cast<std::int64_t>(kRun));
}

template <class Holder, Kind kind>
void value_less(benchmark::State & state)
{
    auto const values = MakeRun<Holder>(kind);
    for (auto _ : state)
    {
        std::size_t less = 0;
        for (std::size_t i = 0; i + 1 < kRun; ++i)
            less += std::size_t{values[i] < values[i + 1]};
        benchmark::DoNotOptimize(less);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRun - 1));
}

void var_type_parse(benchmark::State & state)
{
    wchar_t const * const texts[] = {L"String", L"Int", L"double", L"Long64", L"Date", L"Bool", L"Blob", L"Integer"};
    VARENUM type = VT_EMPTY;
    for (auto _ : state)
        for (wchar_t const * text : texts)
        {
            benchmark::DoNotOptimize(text);
            qvlib::VarType::TryParse(text, type);
            benchmark::DoNotOptimize(type);
        }
    state.SetItemsProcessed(state.iterations() * 8);
}

#ifdef QVLIB_PEER_QT
#define QVLIB_OF_EACH_QT(operation, kind) BENCHMARK_TEMPLATE(operation, Qt, kind);
#else
#define QVLIB_OF_EACH_QT(operation, kind)
#endif
#define QVLIB_OF_EACH(operation, kind)                                                                                 \
    BENCHMARK_TEMPLATE(operation, Ours, kind);                                                                         \
    BENCHMARK_TEMPLATE(operation, StdVariant, kind);                                                                   \
    QVLIB_OF_EACH_QT(operation, kind)
#define QVLIB_OF_EVERY_KIND(operation)                                                                                 \
    QVLIB_OF_EACH(operation, Kind::Number)                                                                             \
    QVLIB_OF_EACH(operation, Kind::ShortText)                                                                          \
    QVLIB_OF_EACH(operation, Kind::LongText)                                                                           \
    QVLIB_OF_EACH(operation, Kind::Block)                                                                              \
    QVLIB_OF_EACH(operation, Kind::Mixed)

QVLIB_OF_EVERY_KIND(value_copy)
QVLIB_OF_EVERY_KIND(value_assign)
QVLIB_OF_EVERY_KIND(value_compare)
BENCHMARK_TEMPLATE(value_copy, StdAny, Kind::Number);
BENCHMARK_TEMPLATE(value_copy, StdAny, Kind::LongText);
BENCHMARK_TEMPLATE(value_copy, StdAny, Kind::Mixed);
BENCHMARK_TEMPLATE(value_less, Ours, Kind::Number);
BENCHMARK_TEMPLATE(value_less, StdVariant, Kind::Number);
BENCHMARK_TEMPLATE(value_less, Ours, Kind::LongText);
BENCHMARK_TEMPLATE(value_less, StdVariant, Kind::LongText);
BENCHMARK(var_type_parse);

} // namespace

BENCHMARK_MAIN();
