// CObject: the root of the framework's classes, and what its objects tell of their class at run time.
//
//     class CShape : public CObject
//     {
//         DECLARE_DYNCREATE(CShape)
//     };
//     IMPLEMENT_DYNCREATE(CShape, CObject) // in one source file
//
//     std::unique_ptr<CObject> object(RUNTIME_CLASS(CShape)->CreateObject());
//     object->IsKindOf(RUNTIME_CLASS(CShape)); // TRUE
//
// It differs from what the framework's name suggests in that archives read and write no objects through it: Serialize
// is there to be overridden and called. Files, archives and exceptions of the framework stand on their own.
//
// Thread rule: thread-compatible; the class records are constant and thread-safe.
#pragma once

#include "qvlib/export.h"
#include "qvlib/host/types.h"

class CArchive;
class CObject;

/// What is known of a class at run time. One constant record a class, made by the macros below.
struct QVLIB_API CRuntimeClass
{
    LPCSTR m_lpszClassName;
    int m_nObjectSize;                      ///< bytes
    UINT m_wSchema;                         ///< 0xFFFF: objects are not meant for archives
    CObject * (*m_pfnCreateObject)();       ///< null: objects cannot be made from the record
    CRuntimeClass * (*m_pfnGetBaseClass)(); ///< null: the root

    /// A new object of the class for the caller to delete; null when the class does not allow it.
    CObject * CreateObject() const;
    /// Whether the class is `base` or derives from it. A null `base` is no class.
    BOOL IsDerivedFrom(CRuntimeClass const * base) const noexcept;
};

/// The root of the framework's classes. Objects are not copied.
class QVLIB_API CObject
{
public:
    virtual CRuntimeClass * GetRuntimeClass() const;
    virtual ~CObject();
    /// Writes or reads the object, by the archive's direction. Does nothing here.
    virtual void Serialize(CArchive & archive);

    CObject(CObject const &) = delete;
    CObject & operator=(CObject const &) = delete;

    /// Whether the object's class is `base` or derives from it.
    BOOL IsKindOf(CRuntimeClass const * base) const { return GetRuntimeClass()->IsDerivedFrom(base); }
    BOOL IsSerializable() const { return GetRuntimeClass()->m_wSchema != 0xFFFF; }

    static CRuntimeClass * GetThisClass() noexcept { return &classCObject; }
    static CRuntimeClass classCObject;

protected:
    CObject() noexcept = default;
};

/// The record of a class.
#define RUNTIME_CLASS(class_name) (class_name::GetThisClass())

/// In a class derived from CObject: it has a record. IMPLEMENT_DYNAMIC in one source file goes with it.
#define DECLARE_DYNAMIC(class_name)                                                                                    \
public:                                                                                                                \
    static CRuntimeClass class##class_name;                                                                            \
    static CRuntimeClass * GetThisClass() noexcept { return &class##class_name; }                                      \
    CRuntimeClass * GetRuntimeClass() const override { return &class##class_name; }

/// The same, and objects can be made from the record. The class needs a constructor without arguments.
#define DECLARE_DYNCREATE(class_name)                                                                                  \
    DECLARE_DYNAMIC(class_name)                                                                                        \
    static CObject * CreateObject();

#define QVLIB_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, schema, create)                                      \
    constinit CRuntimeClass class_name::class##class_name                                                              \
    {                                                                                                                  \
#class_name, static_cast < int>(sizeof(class_name)), schema, create, &base_class_name::GetThisClass            \
    };

#define IMPLEMENT_DYNAMIC(class_name, base_class_name)                                                                 \
    QVLIB_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, 0xFFFF, nullptr)

#define IMPLEMENT_DYNCREATE(class_name, base_class_name)                                                               \
    CObject * class_name::CreateObject() { return new class_name; }                                                    \
    QVLIB_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, 0xFFFF, &class_name::CreateObject)
