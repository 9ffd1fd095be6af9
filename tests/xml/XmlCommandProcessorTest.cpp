#include "qvlib/XmlCommandProcessor.h"

#include "qvlib/XmlElement.h"
#include "qvlib/XmlParser.h"
#include "qvlib/XmlWriter.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using qvlib::XmlCommandProcessor;
using qvlib::XmlElement;
using qvlib::XmlParser;
using Arguments = std::vector<std::wstring>;
using Result = boost::optional<std::wstring>;

/// Shows its arguments.
Result Show(Arguments const & arguments)
{
    std::wstring text;
    for (std::wstring const & argument : arguments)
        text += L"<" + argument + L">";
    return text;
}

std::wstring Process(XmlCommandProcessor const & processor, std::wstring const & text)
{
    return processor.ProcessIf(text).value_or(L"nothing");
}

TEST(XmlCommandProcessor, SplitsACommand)
{
    XmlCommandProcessor processor;
    processor.AddCommand(L"F", Show);
    processor.AddCommand(L"", Show);
    processor.AddCommand(L"Name}}", Show);
    processor.AddCommand(L"F)", Show);
    for (auto const & [text, result] : std::vector<std::pair<std::wstring, std::wstring>>{
             {L"{{F(x)}}", L"<x>"},
             {L"{{ F ( x ) }}", L"<x>"},
             {L"{{F()}}", L"<>"},
             {L"{{F(a,b)}} tail", L"<a><b>"},
             {L"{{F(a, b, c)}}", L"<a><b, c>"},
             {L"{{F(,)", L"<><>"},
             {L"{{F((a)b) c}}", L"<(a)b>"},
             {L"{{F(a", L"<a>"},
             {L"{{F(a,b", L"<a><b>"},
             {L"{{(x)}}", L"<x>"},
             {L"{{(x,", L"<x><>"},
             {L"{{Name}}", L"<{{Name}}>"}, // no parentheses: all of it is name and argument
             {L"{{F)(x)", L"<x>"},
             {L"{{F) (x,y", L"<x><y>"}, // an end in front of its beginning: to the end of the text
             {L"{{F(a) , b", L"<a)><b>"},
             {L"{{f(x)}}", L"nothing"}, // names are matched exactly
             {L"{{G(x)}}", L"nothing"},
             {L"{{", L"<{{>"},
             {L"{", L"nothing"},
             {L"", L"nothing"},
             {L"{F(x)}", L"nothing"},
             {L" {{F(x)}}", L"nothing"},
         })
        EXPECT_EQ(Process(processor, text), result) << testing::PrintToString(text);
}

TEST(XmlCommandProcessor, CommandsDeclineClearFailAndAreReplaced)
{
    XmlCommandProcessor processor;
    processor.AddCommand(L"decline", [](Arguments const &) { return Result(); });
    processor.AddCommand(L"clear", [](Arguments const &) { return Result(std::wstring()); });
    processor.AddCommand(L"empty", XmlCommandProcessor::Command());
    EXPECT_FALSE(processor.ProcessIf(L"{{decline()}}"));
    EXPECT_EQ(Process(processor, L"{{clear()}}"), L"");
    EXPECT_THROW(processor.ProcessIf(L"{{empty()}}"), std::bad_function_call);
    processor.AddCommand(L"empty", Show);
    EXPECT_EQ(Process(processor, L"{{empty(now)}}"), L"<now>");
    XmlCommandProcessor const copy(processor);
    EXPECT_EQ(Process(copy, L"{{empty(now)}}"), L"<now>");
}

std::wstring Applied(std::wstring const & text, XmlCommandProcessor const & processor)
{
    std::shared_ptr<XmlElement> const root = XmlParser::Load(text);
    XmlParser::ApplyCommands(*root, processor);
    std::wstring shown;
    std::function<void(XmlElement const &)> const show = [&](XmlElement const & element)
    {
        shown += element.Name() + L"[" + element.Value();
        if (element.HasAttributes())
            for (auto const & [name, value] : *element.Attributes())
                shown += L" " + name + L"=" + value;
        if (element.ContainsChildren())
            for (auto const & child : *element.Children())
                show(*child);
        shown += L"]";
    };
    show(*root);
    return shown;
}

TEST(ApplyCommands, ReplacesValuesAndAttributesOfTheWholeTree)
{
    XmlCommandProcessor processor;
    Arguments order;
    processor.AddCommand(L"F",
                         [&order](Arguments const & arguments)
                         {
                             order.push_back(arguments[0]);
                             return Result(L"{{F(again)}}");
                         });
    processor.AddCommand(L"no", [](Arguments const &) { return Result(); });
    EXPECT_EQ(Applied(L"<r y='{{F(3)}}' x='{{F(2)}}'><a>{{F(4)}}</a><b>{{no()}}</b><c z='plain'>"
                      L"<d>{{F(5)}} and more</d></c></r>",
                      processor),
              L"r[ x={{F(again)}} y={{F(again)}}a[{{F(again)}}]b[{{no()}}]c[ z=plaind[{{F(again)}}]]]")
        << "a result is not a command again";
    EXPECT_EQ(order, (Arguments{L"2", L"3", L"4", L"5"})) << "attributes in the order of the map, children behind";
}

TEST(ApplyCommands, FollowsTheFlagAndSharesAttributeMaps)
{
    XmlCommandProcessor processor;
    processor.AddCommand(L"F", Show);
    auto const attributes = std::make_shared<XmlElement::AttributeMap>();
    (*attributes)[L"k"] = L"{{F(v)}}";
    auto const child = std::make_shared<XmlElement>(L"c", L"{{F(c)}}", attributes, false);
    XmlElement leaf(L"leaf", L"{{F(p)}}", nullptr, false);
    leaf.AddChild(child);
    XmlParser::ApplyCommands(leaf, processor);
    EXPECT_EQ(leaf.Value(), L"<p>");
    EXPECT_EQ(child->Value(), L"{{F(c)}}") << "children of an element that is flagged a leaf are not visited";

    XmlElement const shallow(*child);
    XmlElement parent(L"p", L"", nullptr, true);
    parent.AddChild(nullptr);
    parent.AddChild(child);
    XmlParser::ApplyCommands(parent, processor);
    EXPECT_EQ(child->Value(), L"<c>");
    EXPECT_EQ(shallow.Value(), L"{{F(c)}}");
    EXPECT_EQ(shallow.Attributes()->at(L"k"), L"<v>");
    XmlElement childless(L"e", L"", nullptr, true);
    XmlParser::ApplyCommands(childless, processor);
}

TEST(ApplyCommands, AnExceptionKeepsWhatWasReplaced)
{
    XmlCommandProcessor processor;
    processor.AddCommand(L"F", Show);
    processor.AddCommand(L"throw", [](Arguments const &) -> Result { throw std::runtime_error("refused"); });
    std::shared_ptr<XmlElement> const root =
        XmlParser::Load(L"<r><a>{{F(1)}}</a><b>{{throw()}}</b><c>{{F(2)}}</c></r>");
    EXPECT_THROW(XmlParser::ApplyCommands(*root, processor), std::runtime_error);
    EXPECT_EQ(root->FindFirst(L"a")->Value(), L"<1>");
    EXPECT_EQ(root->FindFirst(L"b")->Value(), L"{{throw()}}");
    EXPECT_EQ(root->FindFirst(L"c")->Value(), L"{{F(2)}}");
}

TEST(ApplyCommands, TakesTreesOfAnyDepth)
{
    XmlCommandProcessor processor;
    processor.AddCommand(L"F", Show);
    auto const root = std::make_shared<XmlElement>(L"e", L"", nullptr, true);
    XmlElement * deepest = root.get();
    for (int i = 0; i < 200'000; ++i)
    {
        auto const child = std::make_shared<XmlElement>(L"e", i == 199'999 ? L"{{F(x)}}" : L"", nullptr, true);
        deepest->AddChild(child);
        deepest = child.get();
    }
    XmlParser::ApplyCommands(*root, processor);
    EXPECT_EQ(deepest->Value(), L"<x>");
}

} // namespace
