// CTLDynamicEnum: a variable of a dynamic enum type.
//
// It holds the enum's metadata and the chosen value's definition, nothing of its own. With nothing chosen it stands for
// the enum's default, which GetDefinition takes up at the first need and keeps.
//
//     qvlib::CTLDynamicEnum kind(kinds);
//     kind = L"forward";               // by name, either case
//     kind == L"Forward";              // true; comparison is exact
//     if (!kind.TrySetValue(7u))       // by code, silently
//         ...
//
// Assignments and GetDefinition report what they do not find through FailMessage, and an assignment that finds nothing
// leaves nothing chosen. What needs a definition (GetCode, GetName, GetDisplay, comparisons with numbers and text)
// throws unexpected_error when there is none.
//
// Thread rule: thread-compatible, except that GetDefinition and all that need it write the instance until a value is
// chosen.
#pragma once

#include "qvlib/DynamicEnumMetadata.h"
#include "qvlib/export.h"

#include <memory>
#include <string>
#include <utility>

class CArchive;

namespace qvlib
{

class QVLIB_API CTLDynamicEnum
{
public:
    using MetadataPtr = std::shared_ptr<CTLDynamicEnumMetadata const>;
    using ValuePtr = CTLDynamicEnumMetadata::ValuePtr;

    /// Nothing chosen. The metadata may be null.
    CTLDynamicEnum(MetadataPtr metadata = nullptr) noexcept : m_metadata(std::move(metadata)) {}

    /// By code, by name, or by a value that holds either.
    CTLDynamicEnum & operator=(int code);
    CTLDynamicEnum & operator=(wchar_t const * name);
    CTLDynamicEnum & operator=(std::wstring const & name);
    CTLDynamicEnum & operator=(CQVString const & name);
    CTLDynamicEnum & operator=(CGenericVal const & value);

    /// Both values and both enums are the same or deeply equal. Nothing chosen differs from the default chosen.
    bool operator==(CTLDynamicEnum const & other) const;
    bool operator==(int code) const;
    /// By name, exactly.
    bool operator==(std::wstring const & name) const;
    bool operator==(wchar_t const * name) const;

    /// Null when there is none.
    MetadataPtr const & GetMetadata() const noexcept { return m_metadata; }
    bool HasMetadata() const noexcept { return m_metadata != nullptr; }
    /// Nothing is chosen afterwards, also when it is the same metadata.
    void SetMetadata(MetadataPtr metadata) noexcept;
    /// Nothing is chosen afterwards; the metadata stays.
    void Reset() noexcept { m_value.reset(); }
    /// Nothing is chosen.
    bool IsEmpty() const noexcept { return m_value == nullptr; }
    /// Nothing is chosen, or the default.
    bool IsDefault() const;

    /// The chosen value, or the default, which is chosen by this; null when there is none.
    ValuePtr const & GetDefinition() const;
    /// Of that definition; unexpected_error when there is none.
    int GetCode() const;
    std::wstring const & GetName() const;
    std::wstring const & GetDisplay() const;
    /// std::out_of_range when the value overrides other attributes but not its display in that context.
    std::wstring const & GetDisplay(Settings const & context) const;
    std::pair<bool, std::wstring const &> TryGetCustomAttribute(std::wstring const & name) const;
    /// 4294967295 when nothing is chosen.
    unsigned int GetIndexOfValue() const noexcept;

    /// By display, in any context; like an assignment otherwise.
    void FromDisplay(std::wstring const & text);
    void FromDisplay(wchar_t const * text);
    /// A code or a name. False, and nothing changed, when there is no such value; nothing is reported.
    bool TrySetValue(NameOrIdView key) noexcept;
    /// unexpected_error instead of false.
    void SetValue(NameOrIdView key);

    /// The whole enum as "name,display;" for each value in order.
    std::wstring ToDelimitedString() const;

    /// Stores or loads the record {version word, empty byte, name}. False when the name that was read is no value of
    /// the enum. Reading an empty record leaves what is chosen.
    bool TrySerialize(CArchive & archive);
    /// unexpected_error instead of false.
    void Serialize(CArchive & archive);

private:
    QVLIB_LOCAL CTLEnumValueDefinition const & Definition() const;

    MetadataPtr m_metadata;
    mutable ValuePtr m_value; // GetDefinition puts the default here
};

} // namespace qvlib
