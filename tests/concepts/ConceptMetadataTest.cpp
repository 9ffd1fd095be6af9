#include <qvlib/DelimitedString.h>
#include <qvlib/DynamicConceptMetadata.h>
#include <qvlib/DynamicConceptMetadataBuilder.h>
#include <qvlib/DynamicEnumMetadata.h>
#include <qvlib/Exceptions.h>
#include <qvlib/XmlElement.h>
#include <qvlib/XmlParser.h>

#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace
{

using namespace qvlib;

// Opens what is protected.
struct OpenMetadata : CTLDynamicConceptMetadata
{
    using CTLDynamicConceptMetadata::AddRelation;
    using CTLDynamicConceptMetadata::ParseCommonRequiredFields;
    using CTLDynamicConceptMetadata::ParseFields;
    using CTLDynamicConceptMetadata::ParseSelector;
    using CTLDynamicConceptMetadata::ParseSelectorOption;
};

std::shared_ptr<OpenMetadata> Load(wchar_t const * text)
{
    auto metadata = std::make_shared<OpenMetadata>();
    EXPECT_TRUE(metadata->FromXml(*XmlParser::Load(text)));
    return metadata;
}

std::shared_ptr<CTLDynamicEnumMetadata> LoadEnum(wchar_t const * text)
{
    auto metadata = std::make_shared<CTLDynamicEnumMetadata>();
    EXPECT_TRUE(metadata->FromXml(*XmlParser::Load(text)));
    return metadata;
}

constexpr wchar_t const * kShape = LR"(<DynamicConcept Name="Shape">
  <Selector Field="Kind">
    <Option Value="A"><RequiredFields>Alpha,,Beta, Unknown</RequiredFields><OptionalFields>Gamma</OptionalFields></Option>
    <Option Value="B"><RequiredFields> Alpha </RequiredFields></Option>
    <Option Value="C"><OptionalFields>Gamma</OptionalFields></Option>
    <Option Value="D"><RequiredFields>Unknown</RequiredFields></Option>
  </Selector>
  <RequiredFields><Field>12</Field><Field>Beta</Field><Field Name="Gamma"/><Field Id="13"/><Field Id="12x"/>
                  <Field>nosuch</Field></RequiredFields>
  <Fields>
    <Field Name="Alpha" Id="12" Type="Int" Unit="mm" Empty=""/>
    <Field>Beta</Field>
    <Field Name="Gamma" Id="13" Type="DynamicEnums.Shade"/>
    <Field Name="Kind" Id="1" Type="DynamicEnums.Kind"/>
    <Field Id="5" Type="String">Delta</Field>
    <Other/>
  </Fields>
</DynamicConcept>)";

constexpr wchar_t const * kKind = L"<DynamicEnum Name='Kind'><Item Name='A'/><Item Name='B' Code='2'/>"
                                  L"<Item Name='C' Code='3'/></DynamicEnum>";

TEST(ConceptMetadata, FindsWhatAWalkOfTheListFinds)
{
    // Names and ids repeat, some fields have neither; both below and above the length that is walked.
    auto random = [engine = std::mt19937(20240229)]() mutable { return static_cast<unsigned int>(engine()); };
    for (unsigned int count : {0U, 1U, 7U, 8U, 9U, 30U, 300U})
    {
        DynamicConceptMetadataBuilder builder;
        builder.Create();
        std::vector<std::wstring> names;
        std::vector<unsigned int> ids;
        for (unsigned int i = 0; i < count; ++i)
        {
            names.push_back(random() % 8 == 0 ? L"" : L"Field" + std::to_wstring(random() % (count + 4)));
            ids.push_back(random() % 4 == 0 ? 0 : random() % (count + 4));
            DynamicConceptMetadataBuilder::FieldDefinition const field{names.back().c_str(), ids.back(), nullptr};
            builder.AddFieldDefinitions(&field, 1);
        }
        auto const metadata = builder.Release();
        auto const & fields = metadata->GetFields();
        auto const walk = [&](auto const & match) -> CTLFieldDefinition const *
        {
            for (auto const & field : fields)
                if (match(*field))
                    return field.get();
            return nullptr;
        };
        for (unsigned int id = 0; id < count + 6; ++id)
            EXPECT_EQ(metadata->FindField(id).get(), walk([&](auto const & f) { return f.GetId() == id; })) << id;
        names.push_back(L"field1");
        names.push_back(L"Field99999");
        for (auto const & name : names)
            EXPECT_EQ(metadata->FindField(name).get(), walk([&](auto const & f) { return f.GetName() == name; }));
    }
}

TEST(ConceptMetadata, AnIndexNeverAnswersForAListThatWas)
{
    DynamicConceptMetadataBuilder builder;
    builder.Create();
    std::vector<std::shared_ptr<CTLFieldDefinition>> fields;
    for (int i = 0; i < 20; ++i)
    {
        fields.push_back(std::make_shared<CTLFieldDefinition>());
        auto const element = XmlParser::Load(L"<Field Name='F" + std::to_wstring(i) + L"' Type='Int'/>");
        ASSERT_TRUE(fields.back()->FromXml(*element));
        builder.AddFieldDefinition(fields.back());
    }
    DynamicConceptMetadataBuilder const shared = builder;
    auto const metadata = builder.Release();
    auto const copy = std::make_shared<CTLDynamicConceptMetadata>(*metadata);
    EXPECT_EQ(metadata->FindField(L"F15"), fields[15]);
    EXPECT_EQ(copy->FindField(L"F15"), fields[15]);

    // A definition that is known to an index changes its name, its id, and is assigned over and moved from.
    fields[3]->FromXml(*XmlParser::Load(L"<Field Name='F15' Id='4'/>"));
    EXPECT_EQ(metadata->FindField(L"F15"), fields[3]);
    EXPECT_EQ(metadata->FindField(L"F3"), nullptr);
    EXPECT_EQ(copy->FindField(4U), fields[3]);
    *fields[3] = *fields[10];
    EXPECT_EQ(metadata->FindField(L"F15"), fields[15]);
    EXPECT_EQ(metadata->FindField(L"F10"), fields[3]);
    EXPECT_EQ(metadata->FindField(4U), nullptr);
    CTLFieldDefinition const taken(std::move(*fields[5]));
    EXPECT_EQ(metadata->FindField(L"F5"), nullptr);
    EXPECT_EQ(copy->FindField(L"F19"), fields[19]);

    DynamicConceptMetadataBuilder again = shared;
    auto late = std::make_shared<CTLFieldDefinition>(taken);
    again.AddFieldDefinition(late);
    EXPECT_EQ(metadata->FindField(L"F5"), late) << "the list grew";
    EXPECT_EQ(copy->FindField(L"F5"), nullptr);
}

TEST(ConceptMetadata, KeysIdsAndNames)
{
    auto const shape = Load(kShape);
    ASSERT_EQ(shape->GetFields().size(), 5U);
    EXPECT_EQ(shape->FindField(NameOrId(0U))->GetName(), L"Beta");
    EXPECT_FALSE(shape->HasField(L"alpha"));
    EXPECT_FALSE(shape->HasField(L"12"));
    EXPECT_THROW(shape->GetField(L"nosuch"), unexpected_error);
    EXPECT_EQ(shape->IdOfName(L"Alpha"), 12U);
    EXPECT_THROW(shape->IdOfName(L"Beta"), unexpected_error);
    EXPECT_EQ(shape->NameOfId(12U), L"Alpha");
    EXPECT_THROW(shape->NameOfId(99U), unexpected_error);

    auto const alpha = shape->FindField(L"Alpha");
    EXPECT_TRUE(alpha->GetKey() == 12U);
    EXPECT_TRUE(shape->FindField(L"Beta")->GetKey() == L"Beta");
    EXPECT_TRUE(CTLFieldDefinition().GetKey() == L"");
    EXPECT_EQ(*alpha->GetAttribute(L"Unit").GetValue(), L"mm");
    EXPECT_TRUE(alpha->HasAttribute(L"Empty"));
    EXPECT_FALSE(alpha->GetAttribute(L"unit").HasValue());
    EXPECT_FALSE(shape->FindField(L"Beta")->HasAttributes());
    EXPECT_EQ(shape->FindField(5U)->GetName(), L"Delta") << "the text names a field without Name";
}

std::shared_ptr<XmlElement> Element(std::wstring const & name, std::wstring const & text = L"")
{
    return std::make_shared<XmlElement>(name, text, nullptr, true);
}

std::shared_ptr<XmlElement> FieldList(std::vector<std::wstring> const & names)
{
    auto const fields = Element(L"Fields");
    for (auto const & name : names)
        fields->AddChild(Element(L"Field", name));
    return fields;
}

// An option with one list, or more, of optional fields.
std::shared_ptr<XmlElement> Option(std::vector<std::wstring> const & lists)
{
    auto const option =
        std::make_shared<XmlElement>(L"Option", L"", std::make_shared<XmlElement::AttributeMap>(), true);
    for (auto const & list : lists)
        option->AddChild(Element(L"OptionalFields", list));
    return option;
}

std::vector<std::wstring> OptionalNames(CTLDynamicConceptMetadata const & metadata)
{
    std::vector<std::wstring> names;
    if (auto const fields = metadata.GetOptionalFields(L""))
        for (auto const & field : *fields)
            names.push_back(field->GetName());
    return names;
}

TEST(ConceptMetadata, ListsAreCutAsDelimitedStringsAre)
{
    auto random = [engine = std::mt19937(7)]() mutable { return static_cast<std::size_t>(engine()); };
    for (wchar_t const letter : {L'e', L'\u00E9', L'\U0001F600'})
        for (std::size_t const count : {3U, 8U, 9U, 200U})
        {
            // Names of every length up to beyond the blocks that are read at a time, alike up to their ends.
            std::vector<std::wstring> names;
            for (std::size_t i = 0; i < count; ++i)
                names.push_back(std::wstring(i, i % 7 == 3 ? letter : L'n') + std::wstring(1, L"xyz"[i % 3]));
            OpenMetadata metadata;
            metadata.ParseFields(*FieldList(names));
            for (int round = 0; round < 40; ++round)
            {
                std::wstring list;
                for (std::size_t i = random() % 90; i != 0; --i)
                {
                    std::wstring name = names[random() % count];
                    switch (random() % 8)
                    {
                    case 0: // another character somewhere, one of them alike in its lower bits
                        name[random() % name.size()] ^= (random() % 2 == 0 ? 0x1 : 0x10000);
                        break;
                    case 1:
                        name = L" \t" + name + L"\r\n";
                        break;
                    case 2:
                        name = L" ";
                        break;
                    case 3:
                        name.clear();
                        break;
                    default:
                        break;
                    }
                    list += name + (i == 1 && round % 2 == 0 ? L"" : L",");
                }
                if (round % 8 == 7)
                    list.insert(list.size() / 2, 1, L'\0');
                std::vector<std::wstring> wanted;
                std::wstring const whole = list.c_str();
                for (std::size_t begin = 0; begin <= whole.size();)
                {
                    std::size_t const end = std::min(whole.find(L',', begin), whole.size());
                    wchar_t const * token = whole.c_str() + begin;
                    unsigned long length = end - begin;
                    if (length != 0)
                        CDelimitedString::TrimToken(token, length, L',');
                    std::wstring const name(token, length);
                    if (length != 0 && std::find(names.begin(), names.end(), name) != names.end())
                        wanted.push_back(name);
                    begin = end + 1;
                }
                OpenMetadata read(metadata);
                read.ParseSelectorOption(*Option({list}));
                EXPECT_EQ(OptionalNames(read), wanted) << count << ' ' << round;
                EXPECT_EQ(read.GetOptionalFields(L"") == nullptr, wanted.empty());
            }
        }
}

TEST(ConceptMetadata, ListsGrowInOrderWhateverAddsToThem)
{
    OpenMetadata metadata;
    metadata.ParseFields(*FieldList({L"a", L"b", L"c"}));
    metadata.ParseSelectorOption(*Option({L"a,b", L"c", L"a"}));
    CTLDynamicConceptMetadata const copy(metadata);
    metadata.AddRelation(L"", L"b", false);
    metadata.ParseSelectorOption(*Option({L"c,c"}));
    // Other fields from now on; the entries so far stay.
    auto const first = metadata.GetFields().front();
    metadata.ParseFields(*FieldList({L"c", L"d"}));
    metadata.ParseSelectorOption(*Option({L"d,a,c"}));
    std::vector<std::wstring> const wanted{L"a", L"b", L"c", L"a", L"b", L"c", L"c", L"d", L"c"};
    EXPECT_EQ(OptionalNames(metadata), wanted);
    EXPECT_EQ(metadata.GetOptionalFields(L"")->front(), first) << "the field itself, not one like it";
    EXPECT_EQ(copy.GetOptionalFields(L""), metadata.GetOptionalFields(L"")) << "a copy shares the lists";

    // A list that nobody asked for before the fields changed.
    OpenMetadata other;
    other.ParseFields(*FieldList({L"a", L"b"}));
    other.ParseSelectorOption(*Option({L"b"}));
    other.ParseFields(*FieldList({L"c", L"d"}));
    other.ParseSelectorOption(*Option({L"d,b"}));
    EXPECT_EQ(OptionalNames(other), (std::vector<std::wstring>{L"b", L"d"}));
}

TEST(ConceptMetadata, ReadingListsSurvivesEveryFailedAllocation)
{
    OpenMetadata metadata;
    metadata.ParseFields(*FieldList({L"a", L"b", L"c"}));
    auto const option = Option({L"a,b,c,a,b", L"c"});
    OpenMetadata read;
    EXPECT_GT(qvlib_test::SweepAllocations(
                  [&]
                  {
                      read = metadata;
                      read.ParseSelectorOption(*option);
                  },
                  // An option is there with fields of its list or not at all.
                  [&] { EXPECT_EQ(OptionalNames(read).empty(), read.GetOptionalFields(L"") == nullptr); }),
              5U);
    EXPECT_EQ(OptionalNames(read), (std::vector<std::wstring>{L"a", L"b", L"c", L"a", L"b", L"c"}));
}

TEST(ConceptMetadata, RequiredFieldsAreAskedForByTheirOwnKey)
{
    auto const shape = Load(kShape);
    EXPECT_TRUE(shape->IsRequiredField(12U, L"A"));
    EXPECT_FALSE(shape->IsRequiredField(L"Alpha", L"A")) << "it has an id";
    EXPECT_TRUE(shape->IsRequiredField(L"Beta", L"A"));
    EXPECT_FALSE(shape->IsRequiredField(L"Beta", L"B")) << "only the common list has it";
    EXPECT_FALSE(shape->IsRequiredField(0U, L"A"));
    EXPECT_FALSE(shape->IsRequiredField(12U, L"a"));
    EXPECT_EQ(shape->GetOptionalFields(L"A")->front()->GetName(), L"Gamma");
    EXPECT_EQ(shape->GetOptionalFields(L"B"), nullptr);
    EXPECT_NE(shape->GetOptionalFields(std::wstring(L"C")), nullptr);
    EXPECT_EQ(shape->GetOptionalFields(L"D"), nullptr) << "no known name, no entry";

    // Long lists answer as short ones do, and go on to when they grow.
    std::wstring fields;
    std::wstring names;
    for (int i = 1; i <= 40; ++i)
    {
        fields += L"<Field Name='F" + std::to_wstring(i) + L"' Id='" + std::to_wstring(i % 2 * i) + L"'/>";
        names += L"F" + std::to_wstring(i) + L",F" + std::to_wstring(i) + L",";
    }
    auto const wide = Load((L"<DynamicConcept><Fields>" + fields +
                            L"<Field Name='Late' Id='77'/></Fields><Selector Field='F1'><Option Value='A'>"
                            L"<RequiredFields>" +
                            names + L"</RequiredFields></Option></Selector></DynamicConcept>")
                               .c_str());
    for (unsigned int i = 1; i <= 41; ++i)
    {
        EXPECT_EQ(wide->IsRequiredField(i, L"A"), i % 2 == 1 && i <= 40) << i;
        EXPECT_EQ(wide->IsRequiredField(L"F" + std::to_wstring(i), L"A"), i % 2 == 0 && i <= 40) << i;
    }
    EXPECT_FALSE(wide->IsRequiredField(0U, L"A"));
    wide->AddRelation(L"A", L"Late", true);
    EXPECT_TRUE(wide->IsRequiredField(77U, L"A"));
}

TEST(ConceptMetadata, BindingReachesEveryFieldOfTheTypeThroughEveryHolder)
{
    auto const shape = Load(kShape);
    CTLDynamicConceptMetadata const copy = *shape;
    EXPECT_FALSE(shape->BindFieldMetadata(LoadEnum(L"<DynamicEnum Name='shade'/>")));
    auto const shade = LoadEnum(L"<DynamicEnum Name='Shade'/>");
    EXPECT_TRUE(shape->BindFieldMetadata(shade));
    EXPECT_EQ(copy.FindField(L"Gamma")->GetTypeMetadata(), shade);

    std::wstring fields;
    for (int i = 0; i < 60; ++i)
        fields += L"<Field Name='F" + std::to_wstring(i) + L"' Type='DynamicEnums.E" + std::to_wstring(i % 20) + L"'/>";
    auto const wide = Load((L"<DynamicConcept><Fields>" + fields + L"</Fields></DynamicConcept>").c_str());
    auto const seventh = LoadEnum(L"<DynamicEnum Name='E7'/>");
    EXPECT_TRUE(wide->BindFieldMetadata(seventh));
    EXPECT_FALSE(wide->BindFieldMetadata(LoadEnum(L"<DynamicEnum Name='E20'/>")));
    for (std::size_t i = 0; i < 60; ++i)
        EXPECT_EQ(wide->GetFields()[i]->GetTypeMetadata(), i % 20 == 7 ? seventh : nullptr) << i;
}

TEST(ConceptMetadata, ASupportedShapeKeepsTheListedOptionsOnly)
{
    auto const shape = Load(kShape);
    EXPECT_EQ(shape->CreateSupportedMetadata(L"A"), nullptr) << "not bound yet";
    auto const kind = LoadEnum(kKind);
    shape->BindFieldMetadata(kind);
    EXPECT_EQ(shape->CreateSupportedMetadata(L"X,Y"), nullptr);
    EXPECT_EQ(Load(L"<DynamicConcept/>")->CreateSupportedMetadata(L"A"), nullptr);

    auto const supported = shape->CreateSupportedMetadata(std::wstring(L"b, X, A"));
    ASSERT_NE(supported, nullptr);
    EXPECT_EQ(supported->GetName(), L"Shape");
    EXPECT_TRUE(supported->IsRequiredField(12U, L"A"));
    EXPECT_TRUE(supported->IsRequiredField(12U, L"B"));
    EXPECT_EQ(supported->GetOptionalFields(L"C"), nullptr);
    EXPECT_EQ(supported->GetOptionalFields(L"A"), shape->GetOptionalFields(L"A")) << "the lists are shared";
    EXPECT_TRUE(supported->GetCommonRequiredFields().empty());
    EXPECT_EQ(supported->GetSelectorTypeMetadata()->GetDefault()->GetName(), L"B");
    EXPECT_EQ(supported->FindField(L"Kind"), supported->GetSelector());
    EXPECT_EQ(supported->FindField(L"Alpha"), shape->FindField(L"Alpha"));
    EXPECT_EQ(shape->GetSelectorTypeMetadata(), kind);
}

TEST(ConceptMetadata, EqualityIsDeep)
{
    auto const shape = Load(kShape);
    auto const other = Load(kShape);
    EXPECT_TRUE(*shape == *other);
    shape->BindFieldMetadata(LoadEnum(kKind));
    EXPECT_FALSE(*shape == *other);
    other->BindFieldMetadata(LoadEnum(kKind));
    EXPECT_TRUE(*shape == *other);
    other->AddRelation(L"B", L"Beta", false);
    EXPECT_FALSE(*shape == *other);
    EXPECT_TRUE(CTLFieldDefinition() == CTLFieldDefinition());
}

TEST(ConceptMetadataXml, WritingLosesCommonFieldsAndOptionsWithOptionalFieldsOnly)
{
    auto const shape = Load(kShape);
    ASSERT_EQ(shape->GetCommonRequiredFields().size(), 4U);
    auto const element = shape->ToXml();
    CTLDynamicConceptMetadata again;
    ASSERT_TRUE(again.FromXml(*element));
    EXPECT_FALSE(again == *shape);
    EXPECT_TRUE(again.GetCommonRequiredFields().empty());
    EXPECT_EQ(again.GetOptionalFields(L"C"), nullptr);
    EXPECT_TRUE(again.IsRequiredField(L"Beta", L"A"));
    CTLDynamicConceptMetadata third;
    ASSERT_TRUE(third.FromXml(*again.ToXml()));
    EXPECT_TRUE(third == again) << "nothing more is lost";
    EXPECT_EQ(*again.FindField(L"Alpha")->GetAttribute(L"Unit").GetValue(), L"mm");
}

TEST(ConceptMetadataXml, RefusesAndKeeps)
{
    auto const shape = Load(kShape);
    EXPECT_FALSE(shape->FromXml(*XmlParser::Load(L"<dynamicConcept/>")));
    EXPECT_EQ(shape->GetName(), L"Shape");
    EXPECT_TRUE(shape->FromXml(*XmlParser::Load(L"<DynamicConcept Name='New'/>")));
    EXPECT_EQ(shape->GetFields().size(), 5U) << "what is not mentioned stays";

    EXPECT_THROW(shape->ParseFields(*XmlParser::Load(L"<Selector/>")), unexpected_error);
    EXPECT_THROW(shape->ParseSelector(*XmlParser::Load(L"<Fields/>")), unexpected_error);
    EXPECT_THROW(shape->ParseSelectorOption(*XmlParser::Load(L"<Fields/>")), unexpected_error);
    EXPECT_THROW(shape->ParseCommonRequiredFields(*XmlParser::Load(L"<Fields/>")), unexpected_error);
    EXPECT_THROW(shape->ParseSelector(*XmlParser::Load(L"<Selector Field='Kind'><Choice/></Selector>")),
                 unexpected_error);
    EXPECT_THROW(shape->ParseSelector(*XmlParser::Load(L"<Selector Field='nosuch'/>")), unexpected_error);

    // A missing attribute that is read by subscript stands in the element afterwards.
    for (wchar_t const * text : {L"<Selector/>", L"<Selector Other='1'/>"})
    {
        auto const selector = XmlParser::Load(text);
        EXPECT_THROW(shape->ParseSelector(*selector), unexpected_error);
        EXPECT_TRUE(selector->HasAttribute(L"Field")) << text;
    }
    shape->ParseFields(*XmlParser::Load(L"<Fields/>"));
    EXPECT_TRUE(shape->GetFields().empty());
}

TEST(ConceptMetadataBuilder, BuildsAndHandsOver)
{
    DynamicConceptMetadataBuilder builder;
    EXPECT_THROW(builder.SetName(L"x"), unexpected_error);
    builder.Create();
    DynamicConceptMetadataBuilder const first = builder;
    builder.SetName(L"Old");
    builder.Create();
    builder.SetName(L"Ticket");
    DynamicConceptMetadataBuilder::FieldDefinition const fields[] = {{L"Amount", 1, L"Double"}, {nullptr, 2, nullptr}};
    builder.AddFieldDefinitions(fields, 0);
    builder.AddFieldDefinitions(fields, 2);
    EXPECT_THROW(builder.AddFieldDefinition(nullptr), unexpected_error);
    auto const ticket = builder.Release();
    ASSERT_NE(ticket, nullptr);
    EXPECT_EQ(builder.Release(), nullptr);
    EXPECT_EQ(ticket->GetName(), L"Ticket");
    ASSERT_EQ(ticket->GetFields().size(), 2U);
    EXPECT_FALSE(ticket->FindField(2U)->HasName() || ticket->FindField(2U)->HasType());
    EXPECT_EQ(DynamicConceptMetadataBuilder(first).Release()->GetName(), L"Old");
}

TEST(ConceptMetadataUtils, TheGeneratorGivesTheCollectionInOrder)
{
    auto const shape = Load(L"<DynamicConcept><Fields><Field Name='a' X='1'/><Field Name='b'/><Field Name='c' X=''/>"
                            L"<Field Name='d' x='1'/></Fields></DynamicConcept>");
    auto const all = DynamicConceptMetadataUtils::GetFieldsCollection(shape.get(), L"X");
    ASSERT_EQ(all.size(), 2U);
    auto next = DynamicConceptMetadataUtils::GetFields(shape.get(), L"X");
    EXPECT_EQ(*next(), all[0]);
    auto copy = next;
    EXPECT_EQ(*next(), all[1]);
    EXPECT_FALSE(next());
    EXPECT_FALSE(next());
    EXPECT_EQ(*copy(), all[1]) << "a copy goes on by itself";
    EXPECT_FALSE(DynamicConceptMetadataUtils::GetFields(shape.get(), L"Y")());
}

} // namespace
