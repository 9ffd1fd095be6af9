#include "qvlib/framework/object.h"

constinit CRuntimeClass CObject::classCObject{"CObject", static_cast<int>(sizeof(CObject)), 0xFFFF, nullptr, nullptr};

CObject * CRuntimeClass::CreateObject() const { return m_pfnCreateObject != nullptr ? m_pfnCreateObject() : nullptr; }

BOOL CRuntimeClass::IsDerivedFrom(CRuntimeClass const * base) const noexcept
{
    for (CRuntimeClass const * at = this;; at = at->m_pfnGetBaseClass())
    {
        if (at == base)
            return TRUE;
        if (at->m_pfnGetBaseClass == nullptr)
            return FALSE;
    }
}

CRuntimeClass * CObject::GetRuntimeClass() const { return &classCObject; }

CObject::~CObject() = default;

void CObject::Serialize(CArchive &) {}
