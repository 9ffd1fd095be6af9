// Metadata of the size that a large program has: thousands of fields, options that list thousands of them, hundreds of
// enums. Work must grow with the size, not with its square, and readers on many threads must find the same.
#include <qvlib/DynamicConcept.h>
#include <qvlib/XmlElementBuilder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <thread>

namespace
{

using namespace qvlib;

std::shared_ptr<XmlElement> Element(wchar_t const * name, std::wstring value,
                                    std::initializer_list<std::pair<wchar_t const * const, std::wstring>> attributes)
{
    return std::make_shared<XmlElement>(
        std::wstring(name), std::move(value),
        std::make_shared<XmlElement::AttributeMap>(attributes.begin(), attributes.end()), false);
}

struct Documents
{
    std::shared_ptr<XmlElement> concept_;
    std::vector<std::shared_ptr<XmlElement>> enums;
};

Documents Make(int fields, int options, int enums, int valuesOfAnEnum)
{
    Documents made;
    XmlElementBuilder root;
    root.Create().SetName(L"DynamicConcept").SetAttribute(L"Name", L"Large");
    XmlElementBuilder fieldList;
    fieldList.Create().SetName(L"Fields");
    fieldList.AddChild(Element(L"Field", L"", {{L"Name", L"Kind"}, {L"Id", L"1"}, {L"Type", L"DynamicEnums.Enum0"}}));
    for (int i = 1; i < fields; ++i)
        fieldList.AddChild(Element(
            L"Field", L"",
            {{L"Name", L"Field" + std::to_wstring(i)},
             {L"Id", std::to_wstring(i % 3 == 0 ? 0 : 10 * i)},
             {L"Type", i % 2 == 0 ? L"DynamicEnums.Enum" + std::to_wstring(i % enums) : std::wstring(L"Double")}}));
    XmlElementBuilder selector;
    selector.Create().SetName(L"Selector").SetAttribute(L"Field", L"Kind");
    for (int i = 0; i < options; ++i)
    {
        std::wstring names;
        for (int j = 1; j < fields; j += 3)
            names += L"Field" + std::to_wstring((j + i) % fields) + L",";
        XmlElementBuilder option;
        option.Create().SetName(L"Option").SetAttribute(L"Value", L"Value" + std::to_wstring(i));
        option.AddChild(Element(L"RequiredFields", names, {}));
        option.AddChild(Element(L"OptionalFields", names, {}));
        selector.AddChild(option.Release());
    }
    root.AddChild(selector.Release());
    root.AddChild(fieldList.Release());
    made.concept_ = root.Release();
    for (int i = 0; i < enums; ++i)
    {
        XmlElementBuilder list;
        list.Create().SetName(L"DynamicEnum").SetAttribute(L"Name", L"Enum" + std::to_wstring(i));
        for (int j = 0; j < valuesOfAnEnum; ++j)
            list.AddChild(Element(L"Item", L"",
                                  {{L"Name", L"Value" + std::to_wstring(j)},
                                   {L"Code", std::to_wstring(j * 7)},
                                   {L"Display", L"Shown " + std::to_wstring(j)}}));
        made.enums.push_back(list.Release());
    }
    return made;
}

std::shared_ptr<CTLDynamicConceptMetadata> Load(Documents const & documents)
{
    auto shape = std::make_shared<CTLDynamicConceptMetadata>();
    shape->FromXml(*documents.concept_);
    for (auto const & element : documents.enums)
    {
        auto list = std::make_shared<CTLDynamicEnumMetadata>();
        list->FromXml(*element);
        shape->BindFieldMetadata(list);
    }
    return shape;
}

// Asks everything once. The result is the same for every caller.
std::size_t AskEverything(CTLDynamicConceptMetadata const & shape)
{
    std::size_t found = 0;
    auto const count = [&](bool yes) { found += yes; };
    for (auto const & field : shape.GetFields())
    {
        count(shape.HasField(field->GetName()));
        count(shape.HasField(field->GetId()));
        for (wchar_t const * option : {L"Value0", L"Value3"})
            count(shape.IsRequiredField(field->GetKey(), option));
    }
    auto const & kinds = *shape.GetSelectorTypeMetadata();
    for (auto const & value : kinds.GetValues())
        count(kinds.FindName(value->GetName()) == value && kinds.FindDisplay(value->GetDisplay()) == value &&
              kinds.FindCode(value->GetCode()) == value && kinds.GetIndexOfValue(value) != 0xFFFFFFFFU);
    return found;
}

// Processor time, for the machine may have other work; the best of some rounds.
double Seconds(int scale)
{
    Documents const documents = Make(1500 * scale, 10, 50 * scale, 40);
    double best = 1e9;
    for (int round = 0; round < 5; ++round)
    {
        std::clock_t const start = std::clock();
        auto const shape = Load(documents);
        AskEverything(*shape);
        EXPECT_NE(shape->CreateSupportedMetadata(L"Value1,Value2"), nullptr);
        best = std::min(best, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    }
    return best;
}

TEST(Scale, WorkGrowsWithTheSize)
{
    // Four times the fields, the lists' lengths and the enums: four times the work, where quadratic work would be
    // sixteen times as much.
    double const small = Seconds(1);
    double const large = Seconds(4);
    EXPECT_LT(large, 12 * small + 0.02) << small << " s, " << large << " s";
}

TEST(Scale, AFullSetLoadsBindsAndAnswers)
{
    std::clock_t const start = std::clock();
    auto const shape = Load(Make(6000, 150, 700, 40));
    std::size_t const found = AskEverything(*shape);
    EXPECT_EQ(found, 6000U + 6000U + 2U * 2000U + 40U);
    EXPECT_TRUE(shape->FindField(L"Field5998")->HasTypeMetadata());
    CTLDynamicConcept record(shape);
    record = L"value39";
    for (auto const & field : shape->GetFields())
        if (field != shape->GetSelector())
            record.Set(field->GetName(), field->HasTypeMetadata() ? CGenericVal(L"VALUE20") : CGenericVal(L"1.5"));
    EXPECT_EQ(record.size(), 6000U);
    EXPECT_LT(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC, 30.0);
}

TEST(Scale, ManyThreadsReadOneFreshShape)
{
    auto const shape = Load(Make(300, 8, 20, 40));
    auto const other = Load(Make(300, 8, 20, 40));
    std::vector<std::size_t> found(4);
    std::vector<std::thread> threads;
    for (std::size_t & result : found)
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < 20; ++round)
                    result = AskEverything(*shape);
            });
    // Definitions that an index knows are changed meanwhile, in a shape that no one else reads.
    AskEverything(*other);
    auto const kinds = other->GetSelectorTypeMetadata();
    for (int round = 0; round < 200; ++round)
    {
        std::const_pointer_cast<CTLEnumValueDefinition>(kinds->GetValues()[5])->SetCode(10000 + round);
        EXPECT_EQ(kinds->FindCode(10000 + round), kinds->GetValues()[5]);
    }
    for (auto & thread : threads)
        thread.join();
    EXPECT_EQ(std::count(found.begin(), found.end(), AskEverything(*shape)), 4);
}

} // namespace
