// The metadata readers beside the XML reader that feeds them: the same document as a tree alone (`xml`), and the tree
// read into metadata (`read`). The counter `bytes` tells the length of the text.
#include <qvlib/qvlib.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

namespace
{

using namespace qvlib;

std::string Number(std::size_t number) { return std::to_string(number); }

/// A shape of that many fields and options; each option lists about a third of the fields twice.
std::string ConceptText(std::size_t fields, std::size_t options)
{
    std::string text = "<DynamicConcept Name=\"Trade\"><Fields>"
                       "<Field Name=\"Kind\" Id=\"1\" Type=\"DynamicEnums.Kind\"/>";
    for (std::size_t i = 2; i <= fields; ++i)
        text += "<Field Name=\"SettlementField" + Number(i) + "\" Id=\"" + Number(i) + "\" Type=\"" +
                (i % 3 == 0 ? "DynamicEnums.Enum" + Number(i % 700) : std::string("Double")) + "\"/>";
    text += "</Fields><Selector Field=\"Kind\">";
    for (std::size_t i = 0; i < options; ++i)
    {
        std::string names;
        for (std::size_t j = 2 + i % 3; j <= fields; j += 3)
            names +=
                (names.empty() ? "SettlementField" : ",SettlementField") + Number((j * 7919 + i) % (fields - 1) + 2);
        text += "<Option Value=\"Kind" + Number(i) + "\"><RequiredFields>" + names +
                "</RequiredFields><OptionalFields>" + names + "</OptionalFields></Option>";
    }
    return text + "</Selector></DynamicConcept>";
}

std::string EnumText(std::size_t values)
{
    std::string text = "<DynamicEnum Name=\"Currency\" Default=\"Value1\">";
    for (std::size_t i = 0; i < values; ++i)
        text += "<Item Name=\"Value" + Number(i) + "\" Code=\"" + Number(i) + "\" Display=\"Shown value " + Number(i) +
                "\" DisplayId=\"STR_" + Number(i) + "\" Region=\"EMEA\"/>";
    return text + "</DynamicEnum>";
}

std::string SettingsText(std::size_t properties)
{
    std::string text = "<Settings Name=\"Desk\">";
    for (std::size_t i = 0; i < properties; ++i)
        text += "<Property Name=\"Property" + Number(i) + "\" Type=\"" + (i % 2 == 0 ? "Int" : "Double") + "\">" +
                Number(i) + ".5</Property>";
    return text + "</Settings>";
}

std::shared_ptr<XmlElement> Tree(std::string const & text)
{
    return XmlParser::Load(text.data(), static_cast<unsigned int>(text.size()));
}

void Xml(benchmark::State & state, std::string const & text)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(Tree(text));
    state.counters["bytes"] = static_cast<double>(text.size());
}

template <class Metadata>
void Read(benchmark::State & state, std::string const & text)
{
    auto const tree = Tree(text);
    for (auto _ : state)
    {
        Metadata metadata;
        benchmark::DoNotOptimize(metadata.FromXml(*tree));
    }
}

void Add(char const * size, std::string const & shape, std::string const & list, std::string const & settings)
{
    auto const name = [&](char const * what) { return std::string(what) + "/" + size; };
    benchmark::RegisterBenchmark(name("concept/xml").c_str(), [=](benchmark::State & s) { Xml(s, shape); });
    benchmark::RegisterBenchmark(name("concept/read").c_str(),
                                 [=](benchmark::State & s) { Read<CTLDynamicConceptMetadata>(s, shape); });
    benchmark::RegisterBenchmark(name("enum/xml").c_str(), [=](benchmark::State & s) { Xml(s, list); });
    benchmark::RegisterBenchmark(name("enum/read").c_str(),
                                 [=](benchmark::State & s) { Read<CTLDynamicEnumMetadata>(s, list); });
    benchmark::RegisterBenchmark(name("settings/xml").c_str(), [=](benchmark::State & s) { Xml(s, settings); });
    benchmark::RegisterBenchmark(name("settings/read").c_str(),
                                 [=](benchmark::State & s) { Read<Settings>(s, settings); });
}

/// A whole set as a large program has it: a shape of 6,000 fields with 150 options, and 700 enums bound to it.
struct Set
{
    std::string shape;
    std::vector<std::string> enums;
};

Set const & FullSet()
{
    static Set const set = []
    {
        Set made{ConceptText(6000, 150), {}};
        for (std::size_t i = 0; i < 700; ++i)
        {
            std::string text = EnumText(40);
            made.enums.push_back(text.replace(text.find("Currency"), 8, "Enum" + Number(i)));
        }
        return made;
    }();
    return set;
}

void SetXml(benchmark::State & state)
{
    std::size_t bytes = 0;
    for (auto _ : state)
    {
        bytes = FullSet().shape.size();
        benchmark::DoNotOptimize(Tree(FullSet().shape));
        for (std::string const & text : FullSet().enums)
        {
            bytes += text.size();
            benchmark::DoNotOptimize(Tree(text));
        }
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

void SetRead(benchmark::State & state)
{
    auto const shape = Tree(FullSet().shape);
    std::vector<std::shared_ptr<XmlElement>> enums;
    for (std::string const & text : FullSet().enums)
        enums.push_back(Tree(text));
    for (auto _ : state)
    {
        CTLDynamicConceptMetadata metadata;
        metadata.FromXml(*shape);
        for (auto const & element : enums)
        {
            auto list = std::make_shared<CTLDynamicEnumMetadata>();
            list->FromXml(*element);
            metadata.BindFieldMetadata(list);
        }
        benchmark::DoNotOptimize(metadata.GetFields().size());
    }
}
BENCHMARK(SetXml)->Name("set/xml");
BENCHMARK(SetRead)->Name("set/read_and_bind");

/// Looking up every field of a bound shape of full size, and binding 700 enums to it.
void Bind(benchmark::State & state)
{
    auto const tree = Tree(ConceptText(6000, 1));
    std::vector<std::shared_ptr<CTLDynamicEnumMetadata const>> enums;
    for (std::size_t i = 0; i < 700; ++i)
    {
        auto list = std::make_shared<CTLDynamicEnumMetadata>();
        list->FromXml(*Tree("<DynamicEnum Name=\"Enum" + Number(i) + "\"/>"));
        enums.push_back(list);
    }
    for (auto _ : state)
    {
        state.PauseTiming();
        CTLDynamicConceptMetadata shape;
        shape.FromXml(*tree);
        state.ResumeTiming();
        for (auto const & list : enums)
            benchmark::DoNotOptimize(shape.BindFieldMetadata(list));
    }
}
BENCHMARK(Bind)->Name("bind/6000_fields_700_enums");

} // namespace

int main(int argc, char ** argv)
{
    Add("2K", ConceptText(24, 2), EnumText(22), SettingsText(36));
    Add("10M", ConceptText(6000, 110), EnumText(105000), SettingsText(190000));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
