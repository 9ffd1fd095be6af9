// A record of 30 fields, set, read, encoded and decoded by name and by id, beside other ways to keep a record whose
// shape is known at run time only. Every iteration handles one whole record.
//
// The forms differ in what they carry: ours and those of GVariant, Qt and CBOR hold every field's name, protobuf's and
// Avro's hold numbers or nothing, so they are shorter. The counter `bytes` tells the encoded length.
#include <qvlib/qvlib.h>

#include <benchmark/benchmark.h>

#ifdef QVLIB_PEER_PROTOBUF
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#endif
#ifdef QVLIB_PEER_AVRO
#include <avro.h>
#endif
#ifdef QVLIB_PEER_GLIB
#include <glib.h>
#endif
#ifdef QVLIB_PEER_QT
#include <QtCore/QDataStream>
#include <QtCore/QIODevice>
#include <QtCore/QVariantMap>
#endif
#ifdef QVLIB_PEER_NLOHMANN
#include <nlohmann/json.hpp>
#endif

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace
{

using namespace qvlib;

enum class Kind
{
    Real,
    Integer,
    Wide,
    Text,
    Truth
};

struct Field
{
    std::string name;
    std::wstring wideName;
    unsigned id;
    Kind kind;
};

/// 10 doubles, 8 integers of 32 bits, 6 of 64 bits, 4 texts, 2 booleans, in mixed order.
std::vector<Field> const & Fields()
{
    static std::vector<Field> const fields = []
    {
        std::vector<Field> made;
        constexpr std::array<Kind, 15> kinds = {Kind::Real, Kind::Integer, Kind::Wide, Kind::Real,    Kind::Text,
                                                Kind::Real, Kind::Integer, Kind::Wide, Kind::Integer, Kind::Real,
                                                Kind::Text, Kind::Integer, Kind::Wide, Kind::Real,    Kind::Truth};
        for (unsigned i = 0; i < 30; ++i)
        {
            std::string const name = "FieldName" + std::to_string(i + 1);
            made.push_back({name, std::wstring(name.begin(), name.end()), i + 1, kinds[i % kinds.size()]});
        }
        return made;
    }();
    return fields;
}

double RealOf(unsigned id) { return id * 1.25; }
int IntegerOf(unsigned id) { return static_cast<int>(id * 1000); }
long long WideOf(unsigned id) { return static_cast<long long>(id) * 10'000'000'000LL; }
std::string const & TextOf(unsigned id)
{
    static std::vector<std::string> const texts = []
    {
        std::vector<std::string> made(31);
        for (unsigned i = 1; i <= 30; ++i)
            made[i] = "text of field " + std::to_string(i);
        return made;
    }();
    return texts[id];
}
bool TruthOf(unsigned id) { return id % 2 == 0; }

// ---- ours

std::shared_ptr<CTLDynamicConceptMetadata const> Metadata()
{
    static auto const metadata = []
    {
        std::wstring text = L"<DynamicConcept Name=\"Record\"><Fields>";
        for (Field const & field : Fields())
        {
            wchar_t const * const type = field.kind == Kind::Real      ? L"Double"
                                         : field.kind == Kind::Integer ? L"Int"
                                         : field.kind == Kind::Wide    ? L"Long64"
                                         : field.kind == Kind::Text    ? L"String"
                                                                       : L"Bool";
            text += L"<Field Name=\"" + field.wideName + L"\" Id=\"" + std::to_wstring(field.id) + L"\" Type=\"" +
                    type + L"\"/>";
        }
        text += L"</Fields></DynamicConcept>";
        auto made = std::make_shared<CTLDynamicConceptMetadata>();
        made->FromXml(*XmlParser::Load(text));
        return made;
    }();
    return metadata;
}

struct Item
{
    NameOrId byName;
    NameOrId byId;
    CGenericVal value;
};

std::vector<Item> const & Items()
{
    static std::vector<Item> const items = []
    {
        std::vector<Item> made;
        for (Field const & field : Fields())
        {
            Item item{NameOrId(field.wideName.c_str()), NameOrId(field.id), CGenericVal()};
            switch (field.kind)
            {
            case Kind::Real:
                item.value = CGenericVal(RealOf(field.id));
                break;
            case Kind::Integer:
                item.value = CGenericVal(IntegerOf(field.id));
                break;
            case Kind::Wide:
                item.value = CGenericVal(WideOf(field.id));
                break;
            case Kind::Text:
                item.value = CGenericVal(CQVString(TextOf(field.id).c_str()));
                break;
            case Kind::Truth:
                item.value = CGenericVal(TruthOf(field.id));
                break;
            }
            made.push_back(item);
        }
        return made;
    }();
    return items;
}

CTLDynamicConcept FilledRecord()
{
    CTLDynamicConcept record(Metadata());
    for (Item const & item : Items())
        record.Set(item.byId, item.value);
    return record;
}

void SetOurs(benchmark::State & state, bool byName)
{
    auto const & items = Items();
    for (auto _ : state)
    {
        CTLDynamicConcept record(Metadata());
        for (Item const & item : items)
            record.Set(byName ? item.byName : item.byId, item.value);
        benchmark::DoNotOptimize(record.size());
    }
}

void GetOurs(benchmark::State & state, bool byName)
{
    CTLDynamicConcept const record = FilledRecord();
    auto const & items = Items();
    for (auto _ : state)
    {
        double sum = 0;
        for (Item const & item : items)
        {
            CGenericVal const & value = record.Get(byName ? item.byName : item.byId);
            sum += value.GetType().IsText() ? value.GetString().GetLength() : value.GetAsDouble();
        }
        benchmark::DoNotOptimize(sum);
    }
}

void EncodeOurs(benchmark::State & state)
{
    CTLDynamicConcept record = FilledRecord();
    CMemFile file;
    for (auto _ : state)
    {
        file.SeekToBegin();
        CArchive archive(&file, CArchive::store);
        record.Serialize(archive);
        archive.Close();
        benchmark::DoNotOptimize(file.GetPosition());
    }
    state.counters["bytes"] = static_cast<double>(file.GetPosition());
}

void DecodeOurs(benchmark::State & state)
{
    CTLDynamicConcept record = FilledRecord();
    CMemFile file;
    {
        CArchive archive(&file, CArchive::store);
        record.Serialize(archive);
    }
    for (auto _ : state)
    {
        file.SeekToBegin();
        CArchive archive(&file, CArchive::load);
        CTLDynamicConcept read(Metadata());
        read.Serialize(archive);
        benchmark::DoNotOptimize(read.size());
    }
}

BENCHMARK_CAPTURE(SetOurs, record_set_by_id, false)->Name("record_set/by_id/qvlib");
BENCHMARK_CAPTURE(SetOurs, record_set_by_name, true)->Name("record_set/by_name/qvlib");
BENCHMARK_CAPTURE(GetOurs, record_get_by_id, false)->Name("record_get/by_id/qvlib");
BENCHMARK_CAPTURE(GetOurs, record_get_by_name, true)->Name("record_get/by_name/qvlib");
BENCHMARK(EncodeOurs)->Name("record_encode/qvlib");
BENCHMARK(DecodeOurs)->Name("record_decode/qvlib");

// ---- protobuf DynamicMessage

#ifdef QVLIB_PEER_PROTOBUF
namespace pb = google::protobuf;

struct Protobuf
{
    pb::DescriptorPool pool;
    pb::Descriptor const * descriptor = nullptr;
    pb::DynamicMessageFactory factory;
    pb::Message const * prototype = nullptr;

    Protobuf()
    {
        pb::FileDescriptorProto file;
        file.set_name("record.proto");
        file.set_syntax("proto3");
        auto * const type = file.add_message_type();
        type->set_name("Record");
        for (Field const & field : Fields())
        {
            auto * const made = type->add_field();
            made->set_name(field.name);
            made->set_number(static_cast<int>(field.id));
            made->set_label(pb::FieldDescriptorProto::LABEL_OPTIONAL);
            made->set_type(field.kind == Kind::Real      ? pb::FieldDescriptorProto::TYPE_DOUBLE
                           : field.kind == Kind::Integer ? pb::FieldDescriptorProto::TYPE_INT32
                           : field.kind == Kind::Wide    ? pb::FieldDescriptorProto::TYPE_INT64
                           : field.kind == Kind::Text    ? pb::FieldDescriptorProto::TYPE_STRING
                                                         : pb::FieldDescriptorProto::TYPE_BOOL);
        }
        descriptor = pool.BuildFile(file)->FindMessageTypeByName("Record");
        prototype = factory.GetPrototype(descriptor);
    }
    pb::FieldDescriptor const * Find(Field const & field, bool byName) const
    {
        return byName ? descriptor->FindFieldByName(field.name)
                      : descriptor->FindFieldByNumber(static_cast<int>(field.id));
    }
    void Fill(pb::Message & message, bool byName) const
    {
        pb::Reflection const * const reflection = message.GetReflection();
        for (Field const & field : Fields())
        {
            auto const * const found = Find(field, byName);
            switch (field.kind)
            {
            case Kind::Real:
                reflection->SetDouble(&message, found, RealOf(field.id));
                break;
            case Kind::Integer:
                reflection->SetInt32(&message, found, IntegerOf(field.id));
                break;
            case Kind::Wide:
                reflection->SetInt64(&message, found, WideOf(field.id));
                break;
            case Kind::Text:
                reflection->SetString(&message, found, TextOf(field.id));
                break;
            case Kind::Truth:
                reflection->SetBool(&message, found, TruthOf(field.id));
                break;
            }
        }
    }
};

Protobuf const & TheProtobuf()
{
    static Protobuf const protobuf;
    return protobuf;
}

void SetProtobuf(benchmark::State & state, bool byName)
{
    Protobuf const & protobuf = TheProtobuf();
    for (auto _ : state)
    {
        std::unique_ptr<pb::Message> const message(protobuf.prototype->New());
        protobuf.Fill(*message, byName);
        benchmark::DoNotOptimize(message.get());
    }
}

void GetProtobuf(benchmark::State & state, bool byName)
{
    Protobuf const & protobuf = TheProtobuf();
    std::unique_ptr<pb::Message> const message(protobuf.prototype->New());
    protobuf.Fill(*message, false);
    pb::Reflection const * const reflection = message->GetReflection();
    std::string scratch;
    for (auto _ : state)
    {
        double sum = 0;
        for (Field const & field : Fields())
        {
            auto const * const found = protobuf.Find(field, byName);
            switch (field.kind)
            {
            case Kind::Real:
                sum += reflection->GetDouble(*message, found);
                break;
            case Kind::Integer:
                sum += reflection->GetInt32(*message, found);
                break;
            case Kind::Wide:
                sum += static_cast<double>(reflection->GetInt64(*message, found));
                break;
            case Kind::Text:
                sum += static_cast<double>(reflection->GetStringReference(*message, found, &scratch).size());
                break;
            case Kind::Truth:
                sum += reflection->GetBool(*message, found) ? 1 : 0;
                break;
            }
        }
        benchmark::DoNotOptimize(sum);
    }
}

void EncodeProtobuf(benchmark::State & state)
{
    Protobuf const & protobuf = TheProtobuf();
    std::unique_ptr<pb::Message> const message(protobuf.prototype->New());
    protobuf.Fill(*message, false);
    std::string bytes;
    for (auto _ : state)
    {
        message->SerializeToString(&bytes);
        benchmark::DoNotOptimize(bytes.data());
    }
    state.counters["bytes"] = static_cast<double>(bytes.size());
}

void DecodeProtobuf(benchmark::State & state)
{
    Protobuf const & protobuf = TheProtobuf();
    std::unique_ptr<pb::Message> const message(protobuf.prototype->New());
    protobuf.Fill(*message, false);
    std::string const bytes = message->SerializeAsString();
    for (auto _ : state)
    {
        std::unique_ptr<pb::Message> const read(protobuf.prototype->New());
        benchmark::DoNotOptimize(read->ParseFromString(bytes));
    }
}

BENCHMARK_CAPTURE(SetProtobuf, by_id, false)->Name("record_set/by_id/protobuf");
BENCHMARK_CAPTURE(SetProtobuf, by_name, true)->Name("record_set/by_name/protobuf");
BENCHMARK_CAPTURE(GetProtobuf, by_id, false)->Name("record_get/by_id/protobuf");
BENCHMARK_CAPTURE(GetProtobuf, by_name, true)->Name("record_get/by_name/protobuf");
BENCHMARK(EncodeProtobuf)->Name("record_encode/protobuf");
BENCHMARK(DecodeProtobuf)->Name("record_decode/protobuf");
#endif

// ---- Avro C generic values

#ifdef QVLIB_PEER_AVRO
struct Avro
{
    avro_schema_t schema = nullptr;
    avro_value_iface_t * iface = nullptr;

    Avro()
    {
        std::string text = R"({"type":"record","name":"Record","fields":[)";
        for (Field const & field : Fields())
        {
            char const * const type = field.kind == Kind::Real      ? "double"
                                      : field.kind == Kind::Integer ? "int"
                                      : field.kind == Kind::Wide    ? "long"
                                      : field.kind == Kind::Text    ? "string"
                                                                    : "boolean";
            text += std::string(field.id > 1 ? "," : "") + R"({"name":")" + field.name + R"(","type":")" + type + "\"}";
        }
        text += "]}";
        avro_schema_from_json_length(text.data(), text.size(), &schema);
        iface = avro_generic_class_from_schema(schema);
    }
    static void Find(avro_value_t const & record, Field const & field, bool byName, avro_value_t & found)
    {
        if (byName)
            avro_value_get_by_name(&record, field.name.c_str(), &found, nullptr);
        else
            avro_value_get_by_index(&record, field.id - 1, &found, nullptr);
    }
    static void Fill(avro_value_t & record, bool byName)
    {
        for (Field const & field : Fields())
        {
            avro_value_t found;
            Find(record, field, byName, found);
            switch (field.kind)
            {
            case Kind::Real:
                avro_value_set_double(&found, RealOf(field.id));
                break;
            case Kind::Integer:
                avro_value_set_int(&found, IntegerOf(field.id));
                break;
            case Kind::Wide:
                avro_value_set_long(&found, WideOf(field.id));
                break;
            case Kind::Text:
            {
                std::string const & text = TextOf(field.id);
                avro_value_set_string_len(&found, text.c_str(), text.size() + 1);
                break;
            }
            case Kind::Truth:
                avro_value_set_boolean(&found, TruthOf(field.id));
                break;
            }
        }
    }
};

Avro const & TheAvro()
{
    static Avro const avro;
    return avro;
}

void SetAvro(benchmark::State & state, bool byName)
{
    Avro const & avro = TheAvro();
    for (auto _ : state)
    {
        avro_value_t record;
        avro_generic_value_new(avro.iface, &record);
        Avro::Fill(record, byName);
        avro_value_decref(&record);
    }
}

void GetAvro(benchmark::State & state, bool byName)
{
    avro_value_t record;
    avro_generic_value_new(TheAvro().iface, &record);
    Avro::Fill(record, false);
    for (auto _ : state)
    {
        double sum = 0;
        for (Field const & field : Fields())
        {
            avro_value_t found;
            Avro::Find(record, field, byName, found);
            switch (field.kind)
            {
            case Kind::Real:
            {
                double value = 0;
                avro_value_get_double(&found, &value);
                sum += value;
                break;
            }
            case Kind::Integer:
            {
                std::int32_t value = 0;
                avro_value_get_int(&found, &value);
                sum += value;
                break;
            }
            case Kind::Wide:
            {
                std::int64_t value = 0;
                avro_value_get_long(&found, &value);
                sum += static_cast<double>(value);
                break;
            }
            case Kind::Text:
            {
                char const * text = nullptr;
                std::size_t size = 0;
                avro_value_get_string(&found, &text, &size);
                sum += static_cast<double>(size);
                break;
            }
            case Kind::Truth:
            {
                int value = 0;
                avro_value_get_boolean(&found, &value);
                sum += value;
                break;
            }
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    avro_value_decref(&record);
}

std::vector<char> EncodedAvro()
{
    avro_value_t record;
    avro_generic_value_new(TheAvro().iface, &record);
    Avro::Fill(record, false);
    std::vector<char> bytes(4096);
    avro_writer_t const writer = avro_writer_memory(bytes.data(), static_cast<std::int64_t>(bytes.size()));
    avro_value_write(writer, &record);
    bytes.resize(static_cast<std::size_t>(avro_writer_tell(writer)));
    avro_writer_free(writer);
    avro_value_decref(&record);
    return bytes;
}

void EncodeAvro(benchmark::State & state)
{
    avro_value_t record;
    avro_generic_value_new(TheAvro().iface, &record);
    Avro::Fill(record, false);
    std::vector<char> bytes(4096);
    avro_writer_t const writer = avro_writer_memory(bytes.data(), static_cast<std::int64_t>(bytes.size()));
    for (auto _ : state)
    {
        avro_writer_reset(writer);
        avro_value_write(writer, &record);
    }
    state.counters["bytes"] = static_cast<double>(avro_writer_tell(writer));
    avro_writer_free(writer);
    avro_value_decref(&record);
}

void DecodeAvro(benchmark::State & state)
{
    std::vector<char> const bytes = EncodedAvro();
    for (auto _ : state)
    {
        avro_reader_t const reader = avro_reader_memory(bytes.data(), static_cast<std::int64_t>(bytes.size()));
        avro_value_t record;
        avro_generic_value_new(TheAvro().iface, &record);
        benchmark::DoNotOptimize(avro_value_read(reader, &record));
        avro_value_decref(&record);
        avro_reader_free(reader);
    }
}

BENCHMARK_CAPTURE(SetAvro, by_id, false)->Name("record_set/by_id/avro_c");
BENCHMARK_CAPTURE(SetAvro, by_name, true)->Name("record_set/by_name/avro_c");
BENCHMARK_CAPTURE(GetAvro, by_id, false)->Name("record_get/by_id/avro_c");
BENCHMARK_CAPTURE(GetAvro, by_name, true)->Name("record_get/by_name/avro_c");
BENCHMARK(EncodeAvro)->Name("record_encode/avro_c");
BENCHMARK(DecodeAvro)->Name("record_decode/avro_c");
#endif

// ---- GLib GVariant, a dictionary of names to variants

#ifdef QVLIB_PEER_GLIB
GVariant * GVariantRecord()
{
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    for (Field const & field : Fields())
    {
        GVariant * value = nullptr;
        switch (field.kind)
        {
        case Kind::Real:
            value = g_variant_new_double(RealOf(field.id));
            break;
        case Kind::Integer:
            value = g_variant_new_int32(IntegerOf(field.id));
            break;
        case Kind::Wide:
            value = g_variant_new_int64(WideOf(field.id));
            break;
        case Kind::Text:
            value = g_variant_new_string(TextOf(field.id).c_str());
            break;
        case Kind::Truth:
            value = g_variant_new_boolean(TruthOf(field.id));
            break;
        }
        g_variant_builder_add(&builder, "{sv}", field.name.c_str(), value);
    }
    return g_variant_ref_sink(g_variant_builder_end(&builder));
}

double SumOfGVariant(GVariant * value, Kind kind)
{
    switch (kind)
    {
    case Kind::Real:
        return g_variant_get_double(value);
    case Kind::Integer:
        return g_variant_get_int32(value);
    case Kind::Wide:
        return static_cast<double>(g_variant_get_int64(value));
    case Kind::Text:
    {
        gsize length = 0;
        g_variant_get_string(value, &length);
        return static_cast<double>(length);
    }
    case Kind::Truth:
        return g_variant_get_boolean(value) != FALSE ? 1 : 0;
    }
    return 0;
}

void SetGVariant(benchmark::State & state)
{
    for (auto _ : state)
        g_variant_unref(GVariantRecord());
}

void GetGVariant(benchmark::State & state)
{
    GVariant * const record = GVariantRecord();
    for (auto _ : state)
    {
        double sum = 0;
        for (Field const & field : Fields())
        {
            GVariant * const value = g_variant_lookup_value(record, field.name.c_str(), nullptr);
            sum += SumOfGVariant(value, field.kind);
            g_variant_unref(value);
        }
        benchmark::DoNotOptimize(sum);
    }
    g_variant_unref(record);
}

void EncodeGVariant(benchmark::State & state)
{
    gsize size = 0;
    for (auto _ : state)
    {
        // The tree serialises itself once and keeps the bytes, so the record has to be made anew each time.
        GVariant * const record = GVariantRecord();
        benchmark::DoNotOptimize(g_variant_get_data(record));
        size = g_variant_get_size(record);
        g_variant_unref(record);
    }
    state.counters["bytes"] = static_cast<double>(size);
}

void DecodeGVariant(benchmark::State & state)
{
    GVariant * const record = GVariantRecord();
    std::vector<char> bytes(g_variant_get_size(record));
    g_variant_store(record, bytes.data());
    g_variant_unref(record);
    for (auto _ : state)
    {
        GVariant * const read = g_variant_ref_sink(
            g_variant_new_from_data(G_VARIANT_TYPE_VARDICT, bytes.data(), bytes.size(), FALSE, nullptr, nullptr));
        GVariantIter iterator;
        g_variant_iter_init(&iterator, read);
        double sum = 0;
        std::size_t index = 0;
        char const * name = nullptr;
        GVariant * value = nullptr;
        while (g_variant_iter_loop(&iterator, "{&sv}", &name, &value))
            sum += SumOfGVariant(value, Fields()[index++].kind);
        benchmark::DoNotOptimize(sum);
        g_variant_unref(read);
    }
}

BENCHMARK(SetGVariant)->Name("record_set/by_name/gvariant");
BENCHMARK(GetGVariant)->Name("record_get/by_name/gvariant");
BENCHMARK(EncodeGVariant)->Name("record_encode/gvariant");
BENCHMARK(DecodeGVariant)->Name("record_decode/gvariant");
#endif

// ---- Qt

#ifdef QVLIB_PEER_QT
struct QtItem
{
    QString name;
    QVariant value;
};

std::vector<QtItem> const & QtItems()
{
    static std::vector<QtItem> const items = []
    {
        std::vector<QtItem> made;
        for (Field const & field : Fields())
        {
            QtItem item{QString::fromStdString(field.name), {}};
            switch (field.kind)
            {
            case Kind::Real:
                item.value = RealOf(field.id);
                break;
            case Kind::Integer:
                item.value = IntegerOf(field.id);
                break;
            case Kind::Wide:
                item.value = static_cast<qlonglong>(WideOf(field.id));
                break;
            case Kind::Text:
                item.value = QString::fromStdString(TextOf(field.id));
                break;
            case Kind::Truth:
                item.value = TruthOf(field.id);
                break;
            }
            made.push_back(item);
        }
        return made;
    }();
    return items;
}

QVariantMap QtRecord()
{
    QVariantMap record;
    for (QtItem const & item : QtItems())
        record.insert(item.name, item.value);
    return record;
}

void SetQt(benchmark::State & state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(QtRecord().size());
}

void GetQt(benchmark::State & state)
{
    QVariantMap const record = QtRecord();
    for (auto _ : state)
    {
        double sum = 0;
        for (QtItem const & item : QtItems())
        {
            QVariant const value = record.value(item.name);
            sum += value.type() == QVariant::String ? value.toString().size() : value.toDouble();
        }
        benchmark::DoNotOptimize(sum);
    }
}

void EncodeQt(benchmark::State & state)
{
    QVariantMap const record = QtRecord();
    QByteArray bytes;
    for (auto _ : state)
    {
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << record;
        benchmark::DoNotOptimize(bytes.constData());
    }
    state.counters["bytes"] = static_cast<double>(bytes.size());
}

void DecodeQt(benchmark::State & state)
{
    QByteArray bytes;
    {
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << QtRecord();
    }
    for (auto _ : state)
    {
        QVariantMap read;
        QDataStream stream(bytes);
        stream >> read;
        benchmark::DoNotOptimize(read.size());
    }
}

BENCHMARK(SetQt)->Name("record_set/by_name/qt");
BENCHMARK(GetQt)->Name("record_get/by_name/qt");
BENCHMARK(EncodeQt)->Name("record_encode/qt");
BENCHMARK(DecodeQt)->Name("record_decode/qt");
#endif

// ---- nlohmann json with CBOR

#ifdef QVLIB_PEER_NLOHMANN
nlohmann::json JsonRecord()
{
    nlohmann::json record;
    for (Field const & field : Fields())
        switch (field.kind)
        {
        case Kind::Real:
            record[field.name] = RealOf(field.id);
            break;
        case Kind::Integer:
            record[field.name] = IntegerOf(field.id);
            break;
        case Kind::Wide:
            record[field.name] = WideOf(field.id);
            break;
        case Kind::Text:
            record[field.name] = TextOf(field.id);
            break;
        case Kind::Truth:
            record[field.name] = TruthOf(field.id);
            break;
        }
    return record;
}

void SetJson(benchmark::State & state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(JsonRecord().size());
}

void GetJson(benchmark::State & state)
{
    nlohmann::json const record = JsonRecord();
    for (auto _ : state)
    {
        double sum = 0;
        for (Field const & field : Fields())
        {
            auto const & value = record.at(field.name);
            sum += value.is_string()    ? static_cast<double>(value.get_ref<std::string const &>().size())
                   : value.is_boolean() ? value.get<bool>()
                                        : value.get<double>();
        }
        benchmark::DoNotOptimize(sum);
    }
}

void EncodeJson(benchmark::State & state)
{
    nlohmann::json const record = JsonRecord();
    std::vector<std::uint8_t> bytes;
    for (auto _ : state)
    {
        bytes.clear();
        nlohmann::json::to_cbor(record, bytes);
        benchmark::DoNotOptimize(bytes.data());
    }
    state.counters["bytes"] = static_cast<double>(bytes.size());
}

void DecodeJson(benchmark::State & state)
{
    auto const bytes = nlohmann::json::to_cbor(JsonRecord());
    for (auto _ : state)
        benchmark::DoNotOptimize(nlohmann::json::from_cbor(bytes).size());
}

BENCHMARK(SetJson)->Name("record_set/by_name/nlohmann");
BENCHMARK(GetJson)->Name("record_get/by_name/nlohmann");
BENCHMARK(EncodeJson)->Name("record_encode/nlohmann_cbor");
BENCHMARK(DecodeJson)->Name("record_decode/nlohmann_cbor");
#endif

} // namespace

BENCHMARK_MAIN();
