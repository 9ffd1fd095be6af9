// The generic value's form in the registry: its text. The type is not stored, it comes from the caller.

#include "qvlib/GenericVal.h"
#include "qvlib/Registry.h"

namespace qvlib
{

bool CGenericVal::SerializeRegistry(CRegistry & registry, wchar_t const * name, VarType type, bool storing)
{
    if (storing)
        return (type == VarType::Empty || type == GetType()) && registry.SetValue(name, ToString());
    CQVString text;
    return registry.GetValue(name, text) && Parse(text, type);
}

} // namespace qvlib
