// Arrays of 1,000 numbers and of 1,000 strings, written to memory and read back. The peers write the same values in
// their own forms.
#include <benchmark/benchmark.h>
#include <qvlib/Marshalling.h>
#include <qvlib/Variant.h>
#include <qvlib/framework/olesafearray.h>

#if defined(QVLIB_PEER_QT)
#include <QBuffer>
#include <QByteArray>
#include <QDataStream>
#include <QString>
#include <QVariant>
#include <QVector>
#endif
#if defined(QVLIB_PEER_GLIB)
#include <glib.h>
#endif

#include <string>

namespace
{

constexpr int kCount = 1000;

std::string Text(int i) { return "item number " + std::to_string(i * 7919 % kCount); }

// ---- the library

qvlib::qrvariant_t Numbers()
{
    COleSafeArray array;
    array.CreateOneDim(VT_I4, kCount);
    auto * const data = static_cast<LONG *>(array.parray->pvData);
    for (int i = 0; i < kCount; ++i)
        data[i] = i * 7919;
    VARIANT made = array.Detach();
    return qvlib::qrvariant_t(made, false);
}

qvlib::qrvariant_t Strings()
{
    COleSafeArray array;
    array.CreateOneDim(VT_BSTR, kCount);
    auto * const data = static_cast<BSTR *>(array.parray->pvData);
    for (int i = 0; i < kCount; ++i)
        data[i] = SysAllocString(qvlib::CQVString(Text(i).c_str()));
    VARIANT made = array.Detach();
    return qvlib::qrvariant_t(made, false);
}

void Rewind(IStream * stream)
{
    LARGE_INTEGER const start{};
    stream->Seek(start, STREAM_SEEK_SET, nullptr);
}

void marshal_write(benchmark::State & state, qvlib::qrvariant_t const & value)
{
    for (auto _ : state)
    {
        IStream * const stream = SHCreateMemStream(nullptr, 0);
        qvlib::CMarshalHelper::WriteVariantForMarshalling(value, stream, MSHCTX_INPROC, nullptr, 0);
        stream->Release();
    }
}

void marshal_read(benchmark::State & state, qvlib::qrvariant_t const & value)
{
    IStream * const stream = SHCreateMemStream(nullptr, 0);
    qvlib::CMarshalHelper::WriteVariantForMarshalling(value, stream, MSHCTX_INPROC, nullptr, 0);
    for (auto _ : state)
    {
        Rewind(stream);
        qvlib::qrvariant_t read;
        if (qvlib::CMarshalHelper::ReadVariantFromMarshalling(read, stream) != 0)
            state.SkipWithError("not read");
        benchmark::DoNotOptimize(read.parray);
    }
    stream->Release();
}

BENCHMARK_CAPTURE(marshal_write, numbers, Numbers());
BENCHMARK_CAPTURE(marshal_write, strings, Strings());
BENCHMARK_CAPTURE(marshal_read, numbers, Numbers());
BENCHMARK_CAPTURE(marshal_read, strings, Strings());

// ---- Qt: a list of tagged values, as the library's records are, and a list of the plain type

#if defined(QVLIB_PEER_QT)

QVector<qint32> QtNumbers()
{
    QVector<qint32> numbers;
    for (int i = 0; i < kCount; ++i)
        numbers.append(i * 7919);
    return numbers;
}

QVector<QString> QtStrings()
{
    QVector<QString> strings;
    for (int i = 0; i < kCount; ++i)
        strings.append(QString::fromStdString(Text(i)));
    return strings;
}

template <class Item>
QVariantList Tagged(QVector<Item> const & items)
{
    QVariantList list;
    for (Item const & item : items)
        list.append(QVariant(item));
    return list;
}

template <class Value>
void qt_write(benchmark::State & state, Value const & value)
{
    for (auto _ : state)
    {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << value;
        benchmark::DoNotOptimize(bytes.constData());
    }
}

template <class Value>
void qt_read(benchmark::State & state, Value const & value)
{
    QByteArray bytes;
    {
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << value;
    }
    for (auto _ : state)
    {
        QDataStream stream(bytes);
        Value read;
        stream >> read;
        benchmark::DoNotOptimize(read.size());
    }
}

BENCHMARK_CAPTURE(qt_write, numbers, Tagged(QtNumbers()));
BENCHMARK_CAPTURE(qt_write, strings, Tagged(QtStrings()));
BENCHMARK_CAPTURE(qt_read, numbers, Tagged(QtNumbers()));
BENCHMARK_CAPTURE(qt_read, strings, Tagged(QtStrings()));
BENCHMARK_CAPTURE(qt_write, plain_numbers, QtNumbers());
BENCHMARK_CAPTURE(qt_write, plain_strings, QtStrings());
BENCHMARK_CAPTURE(qt_read, plain_numbers, QtNumbers());
BENCHMARK_CAPTURE(qt_read, plain_strings, QtStrings());

#endif

// ---- GVariant: an array of variants, each boxed as a value of its own

#if defined(QVLIB_PEER_GLIB)

GVariant * Boxed(bool strings)
{
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("av"));
    for (int i = 0; i < kCount; ++i)
        g_variant_builder_add(&builder, "v",
                              strings ? g_variant_new_string(Text(i).c_str()) : g_variant_new_int32(i * 7919));
    return g_variant_ref_sink(g_variant_builder_end(&builder));
}

void glib_write(benchmark::State & state, bool strings)
{
    for (auto _ : state)
    {
        // The tree keeps its serialised form, so that it is built anew each time.
        GVariant * const value = Boxed(strings);
        benchmark::DoNotOptimize(g_variant_get_data(value));
        g_variant_unref(value);
    }
}

void glib_read(benchmark::State & state, bool strings)
{
    GVariant * const value = Boxed(strings);
    GBytes * const bytes = g_variant_get_data_as_bytes(value);
    for (auto _ : state)
    {
        GVariant * const read = g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE("av"), bytes, FALSE));
        GVariantIter items;
        g_variant_iter_init(&items, read);
        GVariant * item = nullptr;
        while (g_variant_iter_next(&items, "v", &item))
        {
            if (strings)
            {
                gchar * const text = g_variant_dup_string(item, nullptr);
                benchmark::DoNotOptimize(text);
                g_free(text);
            }
            else
                benchmark::DoNotOptimize(g_variant_get_int32(item));
            g_variant_unref(item);
        }
        g_variant_unref(read);
    }
    g_bytes_unref(bytes);
    g_variant_unref(value);
}

BENCHMARK_CAPTURE(glib_write, numbers, false);
BENCHMARK_CAPTURE(glib_write, strings, true);
BENCHMARK_CAPTURE(glib_read, numbers, false);
BENCHMARK_CAPTURE(glib_read, strings, true);

#endif

} // namespace

BENCHMARK_MAIN();
