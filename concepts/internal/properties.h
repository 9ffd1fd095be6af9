// Walking the component model's list of key and value pairs.
#pragma once

#include "qvlib/framework/comutil.h"
#include "qvlib/host/properties.h"

namespace qvlib::internal
{

/// Calls `visit(key, value)` for every pair that can be fetched; a null list has none. A list that cannot tell its
/// count raises a COM error.
template <class Visit>
void ForEachProperty(QRGenObjsLib::IQRProperties * properties, Visit const & visit)
{
    if (properties == nullptr)
        return;
    // The visitor may let go of the list.
    _com_ptr_t<QRGenObjsLib::IQRProperties> const held(properties);
    long count = 0;
    _com_util::CheckError(held->get_Count(&count));
    for (long position = 1; position <= count; ++position)
    {
        _variant_t key;
        _variant_t value;
        if (held->get_Item(position, &key, &value) == S_OK)
            visit(key, value);
    }
}

} // namespace qvlib::internal
