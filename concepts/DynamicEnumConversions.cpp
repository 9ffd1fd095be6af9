// The conversions among code, name and display. The line numbers that go with a report are part of its text.
#include "qvlib/DynamicEnumMetadata.h"
#include "qvlib/Exceptions.h"
#include "qvlib/TextFunctions.h"

namespace qvlib
{

std::wstring const & CTLDynamicEnumMetadata::NameToDisplay(std::wstring const & name) const
{
    return NameToDisplay(name.c_str());
}

std::wstring const & CTLDynamicEnumMetadata::NameToDisplay(wchar_t const * name) const
{
    ValuePtr const * const found = FindNamePosition(TLStringOrEmpty(name));
    FailMessage(found != nullptr, m_name.c_str(), name, 571);
    return found != nullptr ? (*found)->GetDisplay() : TLStdWStringDefault();
}

std::wstring const & CTLDynamicEnumMetadata::NameToDisplayOrDefault(std::wstring const & name) const
{
    if (ValuePtr const * const found = FindNamePosition(name))
        return (*found)->GetDisplay();
    if (m_default != nullptr)
        return m_default->GetDisplay();
    if (!m_values.empty())
        return m_values.front()->GetDisplay();
    FailMessage(false, m_name.c_str(), name.c_str(), 589);
    return TLStdWStringDefault();
}

int CTLDynamicEnumMetadata::NameToCode(std::wstring const & name) const { return NameToCode(name.c_str()); }

int CTLDynamicEnumMetadata::NameToCode(wchar_t const * name) const
{
    ValuePtr const * const found = FindNamePosition(TLStringOrEmpty(name));
    FailMessage(found != nullptr, m_name.c_str(), name, 599);
    return found != nullptr ? (*found)->m_code : 0;
}

std::wstring const & CTLDynamicEnumMetadata::DisplayToName(std::wstring const & display) const
{
    return DisplayToName(display.c_str());
}

std::wstring const & CTLDynamicEnumMetadata::DisplayToName(wchar_t const * display) const
{
    ValuePtr const * const found = FindDisplayPosition(TLStringOrEmpty(display));
    FailMessage(found != nullptr, m_name.c_str(), display, 609);
    return found != nullptr ? (*found)->m_name : TLStdWStringDefault();
}

std::wstring const & CTLDynamicEnumMetadata::DisplayToNameOrDefault(wchar_t const * display) const
{
    if (ValuePtr const * const found = FindDisplayPosition(TLStringOrEmpty(display)))
        return (*found)->m_name;
    if (m_default != nullptr)
        return m_default->m_name;
    if (!m_values.empty())
        return m_values.front()->m_name;
    FailMessage(false, m_name.c_str(), display, 627);
    return TLStdWStringDefault();
}

int CTLDynamicEnumMetadata::DisplayToCode(std::wstring const & display) const { return DisplayToCode(display.c_str()); }

int CTLDynamicEnumMetadata::DisplayToCode(wchar_t const * display) const
{
    ValuePtr const * const found = FindDisplayPosition(TLStringOrEmpty(display));
    FailMessage(found != nullptr, m_name.c_str(), display, 637);
    return found != nullptr ? (*found)->m_code : 0;
}

std::wstring const & CTLDynamicEnumMetadata::CodeToDisplay(int code) const
{
    ValuePtr const * const found = FindCodePosition(code);
    FailMessage(found != nullptr, m_name.c_str(), L"CodeToDisplay", 647);
    return found != nullptr ? (*found)->GetDisplay() : TLStdWStringDefault();
}

std::wstring const & CTLDynamicEnumMetadata::CodeToName(int code) const
{
    ValuePtr const * const found = FindCodePosition(code);
    FailMessage(found != nullptr, m_name.c_str(), L"CodeToName", 657);
    return found != nullptr ? (*found)->m_name : TLStdWStringDefault();
}

// There is no default to give, and the caller cannot go on.
CTLEnumValueDefinition const & CTLDynamicEnumMetadata::DefaultOrThrow() const
{
    if (m_default == nullptr)
        throw unexpected_error();
    return *m_default;
}

std::pair<bool, int> CTLDynamicEnumMetadata::TryToCode(std::wstring const & text) const
{
    return TryToCode(text.c_str());
}

std::pair<bool, int> CTLDynamicEnumMetadata::TryToCode(wchar_t const * text) const
{
    ValuePtr const * found = FindNamePosition(TLStringOrEmpty(text));
    if (found == nullptr)
        found = FindDisplayPosition(TLStringOrEmpty(text));
    if (found != nullptr)
        return {true, (*found)->m_code};
    return {false, DefaultOrThrow().m_code};
}

std::pair<bool, std::wstring> CTLDynamicEnumMetadata::TryToName(std::wstring const & text, bool useDefault) const
{
    return TryToName(text.c_str(), useDefault);
}

std::pair<bool, std::wstring> CTLDynamicEnumMetadata::TryToName(wchar_t const * text, bool useDefault) const
{
    ValuePtr const * found = FindNamePosition(TLStringOrEmpty(text));
    if (found == nullptr)
        found = FindDisplayPosition(TLStringOrEmpty(text));
    if (found != nullptr)
        return {true, (*found)->m_name};
    return {false, useDefault ? DefaultOrThrow().m_name : std::wstring(TLStringOrEmpty(text))};
}

std::pair<bool, int> CTLDynamicEnumMetadata::TryDisplayToCode(std::wstring const & display) const
{
    ValuePtr const * const found = FindDisplayPosition(display);
    return {found != nullptr, found != nullptr ? (*found)->m_code : 0};
}

std::pair<bool, std::wstring> CTLDynamicEnumMetadata::TryDisplayToName(std::wstring const & display) const
{
    ValuePtr const * const found = FindDisplayPosition(display);
    return {found != nullptr, found != nullptr ? (*found)->m_name : std::wstring()};
}

std::pair<bool, std::wstring> CTLDynamicEnumMetadata::TryNameOrCodeToDisplay(NameOrIdView key) const
{
    ValuePtr const * const found = FindValuePosition(key);
    return {found != nullptr, found != nullptr ? (*found)->GetDisplay() : std::wstring()};
}

} // namespace qvlib
