// The archive records of keys, enums and records from any bytes: what was read is written, and reads back equal. The
// first byte chooses the record and whether it has a shape.
#include "support/archived.h"

#include <qvlib/qvlib.h>

#include <cstdint>
#include <cstdlib>

namespace
{

using namespace qvlib;
using qvlib_test::Bytes;

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

std::shared_ptr<CTLDynamicConceptMetadata const> const & Shape()
{
    static auto const shape = []
    {
        auto made = std::make_shared<CTLDynamicConceptMetadata>();
        made->FromXml(*XmlParser::Load(
            L"<DynamicConcept Name='T'><Fields><Field Name='K' Id='1' Type='DynamicEnums.E'/><Field Name='D' Id='9' "
            L"Type='Double'/><Field Name='S' Type='String'/><Field Name='I' Id='3' Type='Int'/><Field Name='T' "
            L"Type='Date'/><Field Name='F'/></Fields><Selector Field='K'/></DynamicConcept>"));
        auto list = std::make_shared<CTLDynamicEnumMetadata>();
        list->FromXml(*XmlParser::Load(L"<DynamicEnum Name='E'><Item Name='A' Code='1'/><Item Name='B' Code='2'/>"
                                       L"</DynamicEnum>"));
        made->BindFieldMetadata(list);
        return std::shared_ptr<CTLDynamicConceptMetadata const>(made);
    }();
    return shape;
}

template <class Record>
bool Load(Record & record, Bytes const & bytes)
{
    try
    {
        qvlib_test::LoadInto(record, bytes);
        return true;
    }
    catch (CException const &)
    {
    }
    catch (unexpected_error const &)
    {
    }
    return false;
}

// Bytes and not records are compared: a number that is none is not equal to itself. The first round may still change
// what it writes: an item under id 0 goes out under the name of the first field without an id.
template <class Record>
void RoundTrip(Record const & empty, Bytes const & bytes)
{
    Record read = empty;
    if (!Load(read, bytes))
        return;
    Record again = empty;
    Require(Load(again, qvlib_test::Stored(read)));
    Bytes const stored = qvlib_test::Stored(again);
    Record third = empty;
    Require(Load(third, stored));
    Require(qvlib_test::Stored(third) == stored);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    if (size == 0)
        return 0;
    EnableDynamicEnumFailMessage(false);
    Bytes const bytes(data + 1, data + size);
    switch (data[0] % 4)
    {
    case 0:
        RoundTrip(NameOrId(), bytes);
        break;
    case 1:
        RoundTrip(CTLDynamicEnum(Shape()->GetSelectorTypeMetadata()), bytes);
        break;
    case 2:
        RoundTrip(CTLDynamicConcept(), bytes);
        break;
    default:
        RoundTrip(CTLDynamicConcept(Shape()), bytes);
    }
    return 0;
}
