/// @file
/// The automation error object: what a COM method leaves behind to describe
/// its failure. Interfaces are plain abstract classes with reference counts.
#pragma once

#include <qnlith/win32/types.h>

#ifndef QN_GUID_DEFINED
/// Set once GUID is defined, so that headers that need it define it once.
#define QN_GUID_DEFINED
/// A 128-bit globally unique identifier of an interface or class.
typedef struct _GUID {
  /// The identifier's four fields, in the usual textual grouping.
  ///@{
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
  ///@}
} GUID, IID;
/// References to interface and class identifiers, as methods take them.
///@{
typedef const IID& REFIID;
typedef const GUID& REFGUID;
///@}
#endif

/// The result of QueryInterface for an interface the object lacks.
#define E_NOINTERFACE (static_cast<HRESULT>(0x80004002))

/// The base of every interface: identity and reference counting.
struct IUnknown {
  /// A pointer to the interface of the id with a reference added, or E_NOINTERFACE.
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  /// Adds a reference; returns the new count.
  virtual ULONG AddRef() = 0;
  /// Gives up a reference, freeing the object at the last; returns the new count.
  virtual ULONG Release() = 0;

 protected:
  /// Objects are freed through Release, never deleted through the interface.
  ~IUnknown() = default;
};

/// The description a failed method leaves behind. Each getter returns S_OK or a failure code.
struct IErrorInfo : IUnknown {
  /// The id of the interface that defined the error.
  virtual HRESULT GetGUID(GUID* guid) = 0;
  /// A new BSTR naming the source, the caller's to free with SysFreeString.
  virtual HRESULT GetSource(BSTR* source) = 0;
  /// A new BSTR with the description, the caller's to free with SysFreeString.
  virtual HRESULT GetDescription(BSTR* description) = 0;
  /// A new BSTR with the help file's path, the caller's to free with SysFreeString.
  virtual HRESULT GetHelpFile(BSTR* helpFile) = 0;
  /// The help context id.
  virtual HRESULT GetHelpContext(DWORD* helpContext) = 0;

 protected:
  /// Objects are freed through Release, never deleted through the interface.
  ~IErrorInfo() = default;
};
