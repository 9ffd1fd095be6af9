// The checks of the four kinds of metadata file, each on the elements as they stand in the file.
#pragma once

#include "findings.h"
#include "located_xml.h"

#include "qvlib/DynamicConceptMetadata.h"
#include "qvlib/DynamicEnumMetadata.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace qvconcept
{

using EnumsByName = std::map<std::wstring, std::shared_ptr<qvlib::CTLDynamicEnumMetadata const>>;
/// String-resource ids and where each was met first.
using DisplayIds = std::map<std::wstring, XmlPlace>;

void CheckConcept(Findings & findings, LocatedElement const & root, EnumsByName const & enums);
void CheckEnum(Findings & findings, LocatedElement const & root, DisplayIds & displayIds);
void CheckSettings(Findings & findings, LocatedElement const & root, DisplayIds & displayIds);
void CheckStrings(Findings & findings, LocatedElement const & root, std::set<std::wstring> & keys);

// What the checks share.

/// The text in double quotes, in UTF-8.
std::string Quoted(std::wstring_view text);
bool IsBlank(std::wstring_view text);
/// Letters folded by ASCII, as names of enum values are compared.
std::wstring Folded(std::wstring_view text);

/// Text that hides child elements, and text behind them.
void CheckMixedText(Findings & findings, LocatedElement const & element);
/// Children that are not among `known` are passed over by the readers.
void CheckChildNames(Findings & findings, LocatedElement const & element,
                     std::initializer_list<std::wstring_view> known);
/// Attributes that are one of `known` but for the case of letters: the readers take them for something else.
void CheckAttributeCase(Findings & findings, LocatedElement const & element,
                        std::initializer_list<std::wstring_view> known);

/// A token of a comma list and its place in the text.
struct ListToken
{
    std::wstring text;
    XmlPlace place;
};
std::vector<ListToken> ListTokens(LocatedElement const & element);

} // namespace qvconcept
