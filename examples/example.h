// What every example needs: its metadata files, and wide text on a UTF-8 terminal.
#pragma once

#include <qvlib/Conversions.h>
#include <qvlib/DynamicConceptMetadata.h>
#include <qvlib/DynamicEnumMetadata.h>
#include <qvlib/QVString.h>
#include <qvlib/XmlParser.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

/// Reads an XML file of examples/metadata into a tree.
inline std::shared_ptr<qvlib::XmlElement> LoadXmlFile(std::string const & name)
{
    std::ifstream file(EXAMPLE_METADATA "/" + name, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot open " + name);
    std::string const text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return qvlib::XmlParser::Load(text.c_str(), static_cast<unsigned int>(text.size()));
}

inline std::shared_ptr<qvlib::CTLDynamicEnumMetadata> LoadEnum(std::string const & name)
{
    auto metadata = std::make_shared<qvlib::CTLDynamicEnumMetadata>();
    if (!metadata->FromXml(*LoadXmlFile(name)))
        throw std::runtime_error(name + " is no enum");
    return metadata;
}

/// The concept of Shipment.xml with its fields bound to their enums, ready to be shared.
inline std::shared_ptr<qvlib::CTLDynamicConceptMetadata const> LoadShipment()
{
    auto metadata = std::make_shared<qvlib::CTLDynamicConceptMetadata>();
    if (!metadata->FromXml(*LoadXmlFile("Shipment.xml")))
        throw std::runtime_error("Shipment.xml is no concept");
    for (char const * name : {"TransportMode.xml", "Packaging.xml", "ServiceLevel.xml"})
        metadata->BindFieldMetadata(LoadEnum(name));
    return metadata;
}

inline std::string Utf8(std::wstring const & text) { return qvlib::AsUtf8FromWStr(text.c_str()); }
inline std::string Utf8(qvlib::CQVString const & text) { return qvlib::AsUtf8FromWStr(text.GetString()); }
