// What "describe" tells of metadata files, gathered once and written in one of three forms.
#pragma once

#include "metadata_files.h"

#include "qvlib/Settings.h"

#include <string>
#include <utility>
#include <vector>

namespace qvconcept
{

struct DescribedOption
{
    std::wstring name;
    EnumValuePtr value; ///< null when the enum is not given or lacks the option
    std::vector<std::wstring> required;
    std::vector<std::wstring> optional;
};

struct DescribedConcept
{
    std::string path;
    ConceptPtr metadata;
    std::vector<DescribedOption> options;
};

/// What a value is called in a context.
struct DescribedOverride
{
    std::vector<std::pair<std::wstring, std::wstring>> context;
    std::wstring display;
};

struct DescribedValue
{
    EnumValuePtr value;
    std::wstring displayId;
    std::vector<DescribedOverride> overrides;
};

struct DescribedEnum
{
    std::string path;
    EnumPtr metadata;
    std::vector<DescribedValue> values;
};

struct DescribedSettings
{
    std::string path;
    qvlib::Settings settings;
};

struct DescribedStrings
{
    std::string path;
    std::vector<std::pair<std::wstring, std::wstring>> texts;
};

struct Description
{
    std::vector<DescribedConcept> concepts;
    std::vector<DescribedEnum> enums;
    std::vector<DescribedSettings> settings;
    std::vector<DescribedStrings> strings;
};

std::string DescribeAsText(Description const & description);
std::string DescribeAsDot(Description const & description);
std::string DescribeAsJson(Description const & description);

} // namespace qvconcept
