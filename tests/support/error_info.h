// An IErrorInfo that describes itself with a fixed text (or none) and counts
// its references, for tests of COM errors.
#pragma once

#include <qnlith/framework.h>

struct FixedErrorInfo : IErrorInfo {
  explicit FixedErrorInfo(const wchar_t* text) : text(text) {}
  HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG AddRef() override { return ++references; }
  ULONG Release() override { return --references; }
  HRESULT GetGUID(GUID*) override { return E_NOTIMPL; }
  HRESULT GetSource(BSTR*) override { return E_NOTIMPL; }
  HRESULT GetDescription(BSTR* description) override {
    *description = text != nullptr ? SysAllocString(text) : nullptr;
    return S_OK;
  }
  HRESULT GetHelpFile(BSTR*) override { return E_NOTIMPL; }
  HRESULT GetHelpContext(DWORD*) override { return E_NOTIMPL; }

  const wchar_t* text;
  ULONG references = 1;
};
