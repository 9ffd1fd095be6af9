#include "qvlib/DynamicEnum.h"

#include "concepts/internal/archive_key.h"
#include "qvlib/Exceptions.h"

namespace qvlib
{

// The line numbers of the reports are part of their texts.

CTLDynamicEnum & CTLDynamicEnum::operator=(wchar_t const * name)
{
    if (m_metadata == nullptr)
    {
        FailMessage(false, L"No Metadata", L"operator=", 986);
        return *this;
    }
    // The text may be the name of the definition that is let go here.
    ValuePtr const old = m_value;
    m_value = m_metadata->FindName(name);
    FailMessage(m_value != nullptr, m_metadata->GetName().c_str(), name, 992);
    return *this;
}

CTLDynamicEnum & CTLDynamicEnum::operator=(int code)
{
    if (m_metadata == nullptr)
    {
        FailMessage(false, L"No Metadata", L"operator=", 1004);
        return *this;
    }
    m_value = m_metadata->FindCode(code);
    FailMessage(m_value != nullptr, m_metadata->GetName().c_str(), L"Find code", 1010);
    return *this;
}

CTLDynamicEnum & CTLDynamicEnum::operator=(std::wstring const & name) { return *this = name.c_str(); }

CTLDynamicEnum & CTLDynamicEnum::operator=(CQVString const & name) { return *this = name.GetString(); }

CTLDynamicEnum & CTLDynamicEnum::operator=(CGenericVal const & value)
{
    if (value.GetType().IsString())
        return *this = value.GetString();
    if (value.GetType().IsInt())
        return *this = value.GetInt();
    FailMessage(false, L"Value not number of string", L"operator=", 1028);
    return *this;
}

bool CTLDynamicEnum::operator==(CTLDynamicEnum const & other) const
{
    auto const same = [](auto const & a, auto const & b)
    { return a == b || (a != nullptr && b != nullptr && *a == *b); };
    return same(m_value, other.m_value) && same(m_metadata, other.m_metadata);
}

bool CTLDynamicEnum::operator==(int code) const { return Definition().GetCode() == code; }

bool CTLDynamicEnum::operator==(std::wstring const & name) const { return Definition().GetName() == name; }

bool CTLDynamicEnum::operator==(wchar_t const * name) const
{
    return Definition().GetName() == std::wstring_view(name != nullptr ? name : L"");
}

void CTLDynamicEnum::SetMetadata(MetadataPtr metadata) noexcept
{
    m_value.reset();
    m_metadata = std::move(metadata);
}

bool CTLDynamicEnum::IsDefault() const
{
    return m_value == nullptr || (m_metadata != nullptr && m_metadata->GetDefault() == m_value);
}

CTLDynamicEnum::ValuePtr const & CTLDynamicEnum::GetDefinition() const
{
    if (m_value != nullptr)
        return m_value;
    if (m_metadata == nullptr)
    {
        FailMessage(false, L"No Metadata", L"GetDefinition", 968);
        return m_value;
    }
    m_value = m_metadata->GetDefault();
    FailMessage(m_value != nullptr, L"No Default", L"GetDefinition", 974);
    return m_value;
}

CTLEnumValueDefinition const & CTLDynamicEnum::Definition() const
{
    ValuePtr const & definition = GetDefinition();
    if (definition == nullptr)
        throw unexpected_error();
    return *definition;
}

int CTLDynamicEnum::GetCode() const { return Definition().GetCode(); }

std::wstring const & CTLDynamicEnum::GetName() const { return Definition().GetName(); }

std::wstring const & CTLDynamicEnum::GetDisplay() const { return Definition().GetDisplay(); }

std::wstring const & CTLDynamicEnum::GetDisplay(Settings const & context) const
{
    return Definition().GetDisplay(context);
}

std::pair<bool, std::wstring const &> CTLDynamicEnum::TryGetCustomAttribute(std::wstring const & name) const
{
    return Definition().TryGetCustomAttribute(name);
}

unsigned int CTLDynamicEnum::GetIndexOfValue() const noexcept
{
    return m_metadata != nullptr ? m_metadata->GetIndexOfValue(m_value) : 0xFFFFFFFFU;
}

void CTLDynamicEnum::FromDisplay(std::wstring const & text) { FromDisplay(text.c_str()); }

void CTLDynamicEnum::FromDisplay(wchar_t const * text)
{
    if (m_metadata == nullptr)
    {
        FailMessage(false, L"No Metadata", text, 1048);
        return;
    }
    ValuePtr const old = m_value;
    m_value = m_metadata->FindDisplay(text);
    FailMessage(m_value != nullptr, m_metadata->GetName().c_str(), text, 1054);
}

bool CTLDynamicEnum::TrySetValue(NameOrIdView key) noexcept
{
    if (m_metadata == nullptr)
        return false;
    CTLDynamicEnumMetadata::ValuePtr const * const found = m_metadata->FindValuePosition(key);
    if (found == nullptr)
        return false;
    m_value = *found;
    return true;
}

void CTLDynamicEnum::SetValue(NameOrIdView key)
{
    if (!TrySetValue(key))
        throw unexpected_error();
}

std::wstring CTLDynamicEnum::ToDelimitedString() const
{
    std::wstring text;
    if (m_metadata != nullptr)
        for (auto const & value : m_metadata->GetValues())
            text.append(value->GetName()).append(1, L',').append(value->GetDisplay()).append(1, L';');
    return text;
}

bool CTLDynamicEnum::TrySerialize(CArchive & archive)
{
    if (archive.IsStoring())
    {
        archive << internal::kRecordVersion << static_cast<unsigned char>(m_value == nullptr ? 1 : 0);
        if (m_value != nullptr)
            internal::StoreText(archive, m_value->GetName());
        return true;
    }
    internal::LoadVersion(archive);
    unsigned char isEmpty;
    archive >> isEmpty;
    if (isEmpty != 0)
        return true; // what is chosen stays: kept on purpose, callers rely on it
    internal::LoadedText name;
    return TrySetValue(NameOrIdView(name.Load(archive)));
}

void CTLDynamicEnum::Serialize(CArchive & archive)
{
    if (!TrySerialize(archive))
        throw unexpected_error();
}

} // namespace qvlib
