// The three metadata readers over any XML: what loads is written, loads again, and is equal from then on. The first
// round may lose what has no written form; the second may lose nothing.
#include <qvlib/qvlib.h>

#include <cstdint>
#include <cstdlib>

namespace
{

using namespace qvlib;

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

template <class Metadata>
void RoundTrip(XmlElement const & element)
{
    Metadata read;
    try
    {
        if (!read.FromXml(element))
            return;
    }
    catch (unexpected_error const &)
    {
        return; // a selector that names no field, or a child of it that is no option
    }
    Metadata once;
    Require(once.FromXml(*read.ToXml()));
    Metadata twice;
    Require(twice.FromXml(*once.ToXml()));
    Require(once == twice);
}

void Ask(XmlElement const & element)
{
    CTLDynamicEnumMetadata list;
    if (list.FromXml(element))
        for (auto const & value : list.GetValues())
        {
            Require(list.FindName(value->GetName()) != nullptr);
            Require(list.FindDisplay(value->GetDisplay()) != nullptr);
            Require(list.FindCode(value->GetCode()) != nullptr);
            Require(list.GetValues()[list.GetIndexOfValue(value)] == value);
        }
    CTLDynamicConceptMetadata shape;
    try
    {
        shape.FromXml(element);
    }
    catch (unexpected_error const &)
    {
    }
    for (auto const & field : shape.GetFields())
    {
        Require(shape.FindField(field->GetName())->GetName() == field->GetName());
        Require(shape.FindField(field->GetId())->GetId() == field->GetId());
        shape.IsRequiredField(field->GetKey(), L"A");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    EnableDynamicEnumFailMessage(false);
    std::shared_ptr<XmlElement> tree;
    try
    {
        tree = XmlParser::Load(reinterpret_cast<char const *>(data), static_cast<unsigned int>(size));
    }
    catch (ParserException const &)
    {
        return 0;
    }
    if (tree == nullptr)
        return 0;
    RoundTrip<CTLDynamicConceptMetadata>(*tree);
    RoundTrip<CTLDynamicEnumMetadata>(*tree);
    Ask(*tree);
    Settings settings;
    if (settings.FromXml(*tree))
    {
        // A value whose text is empty or no longer parses (an empty number, a date in another form) may be refused.
        Settings once;
        if (once.FromXml(*settings.ToXml()))
            Require(once.size() == settings.size());
    }
    return 0;
}
