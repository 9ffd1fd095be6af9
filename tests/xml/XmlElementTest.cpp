#include "qvlib/XmlElement.h"

#include "qvlib/XmlElementBuilder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using qvlib::XmlElement;
using qvlib::XmlElementBuilder;

std::shared_ptr<XmlElement> Element(std::wstring const & name,
                                    std::vector<std::shared_ptr<XmlElement>> const & children = {})
{
    XmlElementBuilder builder;
    builder.Create().SetName(name).AddChildren(children);
    return builder.Release();
}

std::wstring Names(std::vector<std::shared_ptr<XmlElement>> const & elements)
{
    std::wstring names;
    for (auto const & element : elements)
        names += element->Name() + L"=" + element->Value() + L" ";
    return names;
}

TEST(XmlElement, StartsEmpty)
{
    XmlElement const element;
    std::wstring const * value = nullptr;
    EXPECT_FALSE(element.HasChildren() || element.ContainsChildren() || element.HasAttributes());
    EXPECT_FALSE(element.HasAttribute(L"") || element.FindAttribute(L"", value));
    EXPECT_EQ(element.Separator(), L'.');
    EXPECT_EQ(element.Attributes(), nullptr);
    EXPECT_EQ(element.Children(), nullptr);
    EXPECT_EQ(element.FindFirst(L"a"), nullptr);
}

TEST(XmlElement, KeepsTheFlagApartFromTheList)
{
    XmlElement parent;
    parent.AddChild(std::make_shared<XmlElement>());
    EXPECT_FALSE(parent.HasChildren());
    EXPECT_TRUE(parent.ContainsChildren());
    XmlElement const meant(L"a", L"", nullptr, true);
    EXPECT_TRUE(meant.HasChildren());
    EXPECT_FALSE(meant.ContainsChildren());
}

TEST(XmlElement, FindsAttributesHoweverManyThereAre)
{
    for (int const count : {1, 12, 13, 100})
    {
        XmlElementBuilder builder;
        builder.Create();
        for (int i = 0; i < count; ++i)
            builder.SetAttribute(L"attribute" + std::to_wstring(i), std::to_wstring(i));
        auto const element = builder.Release();
        for (int i = 0; i < count; ++i)
        {
            std::wstring const * value = nullptr;
            ASSERT_TRUE(element->FindAttribute((L"attribute" + std::to_wstring(i)).c_str(), value));
            EXPECT_EQ(*value, std::to_wstring(i));
        }
        std::wstring const * value = nullptr;
        EXPECT_FALSE(element->FindAttribute(L"attribute", value));
        EXPECT_FALSE(element->HasAttribute(L"Attribute0"));
        EXPECT_EQ(value, nullptr);
    }
}

TEST(XmlElement, FindsEveryBranchOfAPathInDocumentOrder)
{
    auto b1 = Element(L"b"), b2 = Element(L"b"), b3 = Element(L"b");
    b1->Value(L"1");
    b2->Value(L"2");
    b3->Value(L"3");
    auto const nameless = Element(L"");
    auto const root =
        Element(L"a", {Element(L"a", {b1, Element(L"c", {b3})}), b3, Element(L"a", {b2, nameless}), Element(L"a")});
    root->Children()->push_back(nullptr);

    std::vector<std::shared_ptr<XmlElement>> found;
    root->FindElements(L"a.b", found);
    EXPECT_EQ(Names(found), L"b=1 b=2 ");
    root->FindElements(L"b", found); // direct children only, appended
    EXPECT_EQ(Names(found), L"b=1 b=2 b=3 ");
    EXPECT_EQ(root->FindFirst(L"a.c.b"), b3);
    EXPECT_EQ(root->FindFirst(L"a."), nameless);
    EXPECT_EQ(root->FindFirst(L"A.b"), nullptr);
    // A step through a leaf matches nothing.
    EXPECT_EQ(root->FindFirst(L"b.b"), nullptr);
    // The list that is searched may be the one that is filled.
    root->FindElements(L"b", *root->Children());
    EXPECT_EQ(root->Children()->size(), 6U);
}

TEST(XmlElement, SharesItsPartsWithCopies)
{
    XmlElementBuilder builder;
    auto const source = builder.Create().SetName(L"a").SetAttribute(L"k", L"1").AddChild(Element(L"b")).Release();
    auto const copy = std::make_shared<XmlElement>(*source);
    copy->Value(L"changed");
    EXPECT_EQ(source->Value(), L"");
    builder.Reset(copy).SetAttribute(L"k", L"2").SetAttribute(L"k", L"3").AddChild(nullptr);
    EXPECT_EQ(source->Attributes()->at(L"k"), L"3");
    EXPECT_EQ(source->Children(), copy->Children());
    EXPECT_THROW(XmlElement(*source).shared_from_this(), std::bad_weak_ptr);
    EXPECT_EQ(source->shared_from_this(), source);
}

TEST(XmlElement, ComparesDeeplyAndTellsNullFromEmpty)
{
    auto const tree = [](wchar_t const * text)
    {
        auto leaf = Element(L"c");
        leaf->Value(text);
        return Element(L"a", {Element(L"b", {leaf}), Element(L"d")});
    };
    EXPECT_TRUE(*tree(L"x") == *tree(L"x"));
    EXPECT_FALSE(*tree(L"x") == *tree(L"y"));
    auto const attributes = std::make_shared<XmlElement::AttributeMap>();
    EXPECT_FALSE(XmlElement(L"a", L"", nullptr, false) == XmlElement(L"a", L"", attributes, false));
    EXPECT_TRUE(XmlElement(L"a", L"", attributes, false) ==
                XmlElement(L"a", L"", std::make_shared<XmlElement::AttributeMap>(), false));
    EXPECT_FALSE(XmlElement(L"a", L"", nullptr, false) == XmlElement(L"a", L"", nullptr, true));
    XmlElement emptied(L"a", L"", nullptr, false);
    emptied.AddChild(nullptr);
    XmlElement twin(L"a", L"", nullptr, false);
    twin.AddChild(nullptr);
    EXPECT_TRUE(emptied == twin);
    twin.AddChild(Element(L"b"));
    emptied.AddChild(nullptr);
    EXPECT_FALSE(emptied == twin);
    emptied.Children()->clear();
    EXPECT_FALSE(emptied == XmlElement(L"a", L"", nullptr, false));
}

TEST(XmlElement, DeepTreesTakeNoStack)
{
    auto const chain = []
    {
        auto bottom = Element(L"n");
        for (int i = 0; i < 300000; ++i)
            bottom = Element(L"n", {bottom, nullptr, Element(L"leaf")});
        return bottom;
    };
    auto first = chain();
    auto const second = chain();
    EXPECT_TRUE(*first == *second);
    // A part that someone holds stays whole.
    auto const held = first->FindFirst(L"n.n.n");
    first.reset();
    EXPECT_EQ(held->Children()->size(), 3U);
}

TEST(XmlElementBuilder, FillsTheElementItHolds)
{
    XmlElementBuilder builder;
    EXPECT_FALSE(builder.Created());
    builder.Create().AddChild(nullptr).AddChildren({});
    EXPECT_TRUE(builder.Created());
    EXPECT_FALSE(builder.Reset(builder.Release()).Release()->HasChildren());
    EXPECT_FALSE(builder.Created());

    std::vector<std::shared_ptr<XmlElement>> some{Element(L"a"), Element(L"b")};
    std::vector<std::shared_ptr<XmlElement>> more{Element(L"c")};
    builder.Create().AddChildren(std::move(some)).AddChildren(std::move(more)).AddChild(Element(L"d"));
    XmlElementBuilder const shared = builder;
    auto const element = builder.Release();
    EXPECT_TRUE(shared.Created());
    EXPECT_TRUE(element->HasChildren());
    EXPECT_EQ(Names(*element->Children()), L"a= b= c= d= ");
    // Its own children may be what is added.
    builder.Reset(element).AddChildren(*element->Children()).AddChildren(std::move(*element->Children()));
    EXPECT_EQ(element->Children()->size(), 16U);
}

} // namespace
