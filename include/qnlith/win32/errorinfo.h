// The automation error object: what a COM method leaves behind to describe
// its failure. Interfaces are plain abstract classes with reference counts.
#pragma once

#include <qnlith/win32/types.h>

#ifndef QN_GUID_DEFINED
#define QN_GUID_DEFINED
typedef struct _GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
} GUID, IID;
typedef const IID& REFIID;
typedef const GUID& REFGUID;
#endif

#define E_NOINTERFACE (static_cast<HRESULT>(0x80004002))

struct IUnknown {
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

 protected:
  ~IUnknown() = default;
};

struct IErrorInfo : IUnknown {
  virtual HRESULT GetGUID(GUID* guid) = 0;
  virtual HRESULT GetSource(BSTR* source) = 0;
  // A new BSTR with the description, the caller's to free with SysFreeString.
  virtual HRESULT GetDescription(BSTR* description) = 0;
  virtual HRESULT GetHelpFile(BSTR* helpFile) = 0;
  virtual HRESULT GetHelpContext(DWORD* helpContext) = 0;

 protected:
  ~IErrorInfo() = default;
};
