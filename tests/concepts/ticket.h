// The record that the tests of instances work on.
#pragma once

#include <qvlib/DynamicConcept.h>
#include <qvlib/XmlParser.h>

#include <gtest/gtest.h>

#include <memory>

namespace qvlib_test
{

/// Opens what is protected.
struct OpenConcept : qvlib::CTLDynamicConcept
{
    using CTLDynamicConcept::CTLDynamicConcept;
    using CTLDynamicConcept::FindItem;
    using CTLDynamicConcept::GetItemKey;
};

inline std::shared_ptr<qvlib::CTLDynamicConceptMetadata> LoadShape(wchar_t const * text)
{
    auto shape = std::make_shared<qvlib::CTLDynamicConceptMetadata>();
    EXPECT_TRUE(shape->FromXml(*qvlib::XmlParser::Load(text)));
    return shape;
}

/// Kind is the selector (id 1); Currency (3) is an enum; Note and Free have no ids.
inline std::shared_ptr<qvlib::CTLDynamicConceptMetadata> LoadTicketShape()
{
    auto shape = LoadShape(LR"(<DynamicConcept Name="Ticket">
  <Fields>
    <Field Name="Kind" Id="1" Type="DynamicEnums.Kind"/>
    <Field Name="Amount" Id="12" Type="Double"/>
    <Field Name="Currency" Id="3" Type="DynamicEnums.Currency"/>
    <Field Name="Settles" Id="4" Type="Date"/>
    <Field Name="Lots" Id="5" Type="Integer"/>
    <Field Name="Note" Type="String"/>
    <Field Name="Free"/>
  </Fields>
  <Selector Field="Kind"/>
</DynamicConcept>)");
    for (wchar_t const * text : {LR"(<DynamicEnum Name="Kind"><Item Name="Spot" Code="1" Display="Spot deal"/>
              <Item Name="Forward" Code="2" Display="Forward deal"/></DynamicEnum>)",
                                 LR"(<DynamicEnum Name="Currency"><Item Name="EUR" Code="978" Display="Euro"/>
              <Item Name="JPY" Code="392" Display="Yen"/></DynamicEnum>)"})
    {
        auto kind = std::make_shared<qvlib::CTLDynamicEnumMetadata>();
        EXPECT_TRUE(kind->FromXml(*qvlib::XmlParser::Load(text)));
        EXPECT_TRUE(shape->BindFieldMetadata(kind));
    }
    return shape;
}

} // namespace qvlib_test
