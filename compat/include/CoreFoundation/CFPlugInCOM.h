/*
 * CFPlugInCOM.h: the COM-style interface conventions plug-ins are built on.
 *
 * A plug-in interface is a pointer to a pointer to a table of functions
 * whose first entries are those of IUnknown: QueryInterface, AddRef and
 * Release. Interfaces are identified by UUIDs passed by value as
 * CFUUIDBytes. Header-only, apart from IUnknownUUID, which evaluates to an
 * immortal constant UUID (see CFUUID.h).
 */
#ifndef HARLUNE_COMPAT_CFPLUGINCOM_H
#define HARLUNE_COMPAT_CFPLUGINCOM_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFUUID.h>

CF_EXTERN_C_BEGIN

typedef SInt32 HRESULT;
typedef UInt32 ULONG;
typedef void *LPVOID;
typedef CFUUIDBytes REFIID;

#define SUCCEEDED(Status) ((HRESULT)(Status) >= 0)
#define FAILED(Status) ((HRESULT)(Status) < 0)
#define IS_ERROR(Status) ((unsigned long)(Status) >> 31 == SEVERITY_ERROR)
#define HRESULT_CODE(hr) ((hr) & 0xFFFF)
#define HRESULT_FACILITY(hr) (((hr) >> 16) & 0x1fff)
#define HRESULT_SEVERITY(hr) (((hr) >> 31) & 0x1)
#define SEVERITY_SUCCESS 0
#define SEVERITY_ERROR 1
#define MAKE_HRESULT(sev, fac, code) \
    ((HRESULT)(((unsigned long)(sev) << 31) | ((unsigned long)(fac) << 16) | ((unsigned long)(code))))

#define S_OK ((HRESULT)0x00000000)
#define S_FALSE ((HRESULT)0x00000001)
#define E_UNEXPECTED ((HRESULT)0x8000FFFF)
#define E_NOTIMPL ((HRESULT)0x80000001)
#define E_OUTOFMEMORY ((HRESULT)0x80000002)
#define E_INVALIDARG ((HRESULT)0x80000003)
#define E_NOINTERFACE ((HRESULT)0x80000004)
#define E_POINTER ((HRESULT)0x80000005)
#define E_HANDLE ((HRESULT)0x80000006)
#define E_ABORT ((HRESULT)0x80000007)
#define E_FAIL ((HRESULT)0x80000008)
#define E_ACCESSDENIED ((HRESULT)0x80000009)

/* The calling convention of interface functions: the platform default. */
#define STDMETHODCALLTYPE

/* 00000000-0000-0000-C000-000000000046 */
#define IUnknownUUID                                                                                    \
    CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, \
                                   0x00, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)

#define IUNKNOWN_C_GUTS                                                                         \
    void *_reserved;                                                                            \
    HRESULT(STDMETHODCALLTYPE *QueryInterface)(void *thisPointer, REFIID iid, LPVOID *ppv);   \
    ULONG(STDMETHODCALLTYPE *AddRef)(void *thisPointer);                                        \
    ULONG(STDMETHODCALLTYPE *Release)(void *thisPointer)

typedef struct IUnknownVTbl {
    IUNKNOWN_C_GUTS;
} IUnknownVTbl;

CF_EXTERN_C_END

#endif
