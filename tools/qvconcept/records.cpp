#include "records.h"

#include "console.h"
#include "failure.h"
#include "files.h"
#include "values.h"

#include "qvlib/ArchiveSerialization.h"
#include "qvlib/Exceptions.h"
#include "qvlib/framework/archive.h"
#include "qvlib/framework/memfile.h"
#include "qvlib/host/utf8.h"

#include <memory>

namespace qvconcept
{
namespace
{

using namespace qvlib;
using host::ToUtf8;

std::string CauseText(CArchiveException const & error)
{
    switch (error.m_cause)
    {
    case CArchiveException::endOfFile:
        return "is cut short";
    case CArchiveException::badSchema:
        return "is no record, or a newer version wrote it";
    default:
        return std::string("cannot be read as a record: ") + error.what();
    }
}

/// Steps over the head of a record: its version, and its selector's version, kind and name.
void SkipSelector(CArchive & archive)
{
    std::uint32_t version = 0;
    unsigned char isEmpty = 0;
    archive >> version >> version >> isEmpty;
    std::wstring name;
    if (isEmpty == 0)
        SerializeString(archive, name);
}

/// Every item of the archive as it is stored, whatever the concept knows.
Record ReadWithoutMetadata(CMemFile & file)
{
    file.SeekToBegin();
    CArchive archive(&file, CArchive::load | CArchive::bNoFlushOnDelete);
    Record plain{ConceptPtr()};
    SkipSelector(archive);
    plain.SerializeFields(archive);
    return plain;
}

std::string ArchiveBytes(Record & record)
{
    CMemFile file;
    CArchive archive(&file, CArchive::store);
    record.Serialize(archive);
    archive.Close();
    return std::string(reinterpret_cast<char const *>(file.GetData()), static_cast<std::size_t>(file.GetLength()));
}

} // namespace

ItemText TextOf(CTLDynamicConceptMetadata const & metadata, Item const & item)
{
    FieldPtr const field = metadata.FindField(item.first);
    ItemText text{field && field->HasName() ? field->GetName() : item.first.ToString(), ValueText(item.second), {}};
    if (field && field->HasTypeMetadata() && item.second.GetType().IsInt())
        if (EnumValuePtr const value = field->GetTypeMetadata()->FindCode(item.second.GetInt()))
        {
            text.value = value->GetName();
            if (value->GetDisplay() != value->GetName())
                text.display = value->GetDisplay();
        }
    return text;
}

std::string LineOf(CTLDynamicConceptMetadata const & metadata, Item const & item)
{
    ItemText const text = TextOf(metadata, item);
    return ToUtf8(text.name) + " = " + ToUtf8(text.value);
}

std::string WhyLost(CTLDynamicConceptMetadata const & metadata, Item const & stored)
{
    FieldPtr const field = metadata.FindField(stored.first);
    if (!field)
        return "the concept has no such field";
    if (field->HasTypeMetadata() && !field->GetTypeMetadata()->FindValue(CTLDynamicEnumMetadata::ByName, stored.second))
        return "no value of the enum " + ToUtf8(field->GetTypeMetadata()->GetName());
    if (!field->HasTypeMetadata() && stored.second.GetType().IsString())
    {
        VARENUM type = VarType::String;
        if (field->HasType() && !VarType::TryParse(field->GetType().c_str(), type))
            return "no --enum gives " + ToUtf8(field->GetType());
        std::string const problem = ValueProblem(stored.second.GetString().GetString(), VarType(type));
        if (!problem.empty())
            return problem;
    }
    if (metadata.GetSelector())
        return "it stands before the selector " + ToUtf8(metadata.GetSelector()->GetName()) +
               ", which begins a new record when it is read";
    return "its value is refused";
}

ReadRecord ReadArchive(std::string const & path, std::string & bytes, ConceptPtr const & metadata)
{
    if (bytes.size() > 0x7FFFFFFF)
        throw Problem(path + ": too large");
    CMemFile file(reinterpret_cast<BYTE *>(bytes.data()), static_cast<UINT>(bytes.size()));
    ReadRecord result{Record(metadata), {}};
    try
    {
        CArchive archive(&file, CArchive::load | CArchive::bNoFlushOnDelete);
        result.record.Serialize(archive);
        archive.Flush();
        if (ULONGLONG const rest = file.GetLength() - file.GetPosition())
            throw Problem(path + ": " + Count(static_cast<std::size_t>(rest), "byte") + " more than a record has");
        Record const stored = ReadWithoutMetadata(file);
        for (Item const & item : stored)
            if (!result.record.TryGet(item.first))
                result.lost.push_back(LineOf(*metadata, item) + ": " + WhyLost(*metadata, item));
    }
    catch (CArchiveException const & error)
    {
        throw Problem(path + ": " + CauseText(error));
    }
    catch (CInvalidArgException const &)
    {
        throw Problem(path + ": is no record: it holds a value of a kind that is never stored");
    }
    catch (unexpected_error const &)
    {
        throw Problem(path + ": is no record of the concept " + ToUtf8(metadata->GetName()) +
                      ": its selector is no value of this concept's, or a field's enum is not given");
    }
    return result;
}

ReadRecord ReadArchiveFile(std::string const & path, ConceptPtr const & metadata)
{
    std::string bytes = ReadWholeFile(path);
    return ReadArchive(path, bytes, metadata);
}

void RefuseLosses(std::string_view what, std::vector<std::string> const & lost)
{
    if (lost.empty())
        return;
    std::string text(what);
    text += ": would lose " + Count(lost.size(), "item") + ":";
    for (std::string const & item : lost)
        text += "\n  " + item;
    throw Problem(text);
}

Record ReadWholeRecord(std::string const & path, ConceptPtr const & metadata)
{
    ReadRecord result = ReadArchiveFile(path, metadata);
    RefuseLosses(path, result.lost);
    return std::move(result.record);
}

std::vector<std::string> Missing(Record const & wanted, Record const & found)
{
    CTLDynamicConceptMetadata const & metadata = *wanted.GetMetadata();
    std::vector<std::string> missing;
    for (Item const & item : wanted)
    {
        CGenericVal const * const value = found.TryGet(item.first);
        if (!value)
            missing.push_back(LineOf(metadata, item) + ": " + WhyLost(metadata, wanted.PrepareForStoring(item)));
        else if (*value != item.second)
            missing.push_back(LineOf(metadata, item) + ": comes back as " + ToUtf8(ValueText(*value)) + " (" +
                              ToUtf8(value->GetType().ToString()) + ')');
    }
    return missing;
}

void WriteArchiveFile(std::string const & path, Record & record)
{
    NewFile file(path, ArchiveBytes(record));
    std::string bytes = ReadWholeFile(file.TemporaryPath());
    ReadRecord const back = ReadArchive(path, bytes, record.GetMetadata());
    RefuseLosses(path + ": not written, since reading it back", Missing(record, back.record));
    if (!(back.record == record))
        throw Problem(path + ": not written, since another record comes back");
    file.Commit();
}

} // namespace qvconcept
