// The library's start and stop. Loading runs the early hook, then the
// static initialisers of this file in their fixed order (the notifier
// message id, then the flags of cPlatform; no flag reads another), then the
// entry; unloading takes the steps back. All of it is in this one file so
// that the order is the order of the text.
#include <qnlith/core/frame.h>
#include <qnlith/framework/extension.h>
#include <qnlith/system/cDynamicLinkLibrary.h>
#include <qnlith/system/cPlatform.h>
#include <qnlith/system/cResourceLibrary.h>
#include <qnlith/system/cResourceString.h>
#include <qnlith/win32/atoms.h>
#include <qnlith/win32/modules.h>

#include <new>

#include "trace.h"

namespace {

AFX_EXTENSION_MODULE extensionModule = {};
cDynamicLinkLibrary* ownModule = nullptr;

enum class Reason { ProcessAttach, ProcessDetach };

// Any address inside this library names its module.
HINSTANCE instanceHandle() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(&extensionModule), &module);
  return module;
}

// Before any static initialiser: the framework's lists go aside, so that
// AfxInitExtensionModule finds only what this library's initialisers add.
void earlyHook(Reason reason) {
  if (reason != Reason::ProcessAttach) return;
  AFX_MODULE_STATE* state = AfxGetModuleState();
  state->m_pSavedClassInit = state->m_pClassInit;
  state->m_pSavedFactoryInit = state->m_pFactoryInit;
  state->m_pClassInit = nullptr;
  state->m_pFactoryInit = nullptr;
}

__attribute__((constructor(101))) void earlyHookAtLoad() { earlyHook(Reason::ProcessAttach); }
__attribute__((destructor(101))) void earlyHookAtUnload() { earlyHook(Reason::ProcessDetach); }

DWORD registerNotifier() {
  const DWORD id = RegisterWindowMessageW(L"cNotifier :: messageId");
  QNLITH_TRACE(0x2000, L"cNotifier :: register Msg: 0x%x", id);
  return id;
}

DWORD notifierMessageId = registerNotifier();

}  // namespace

bool cPlatform::_IsWinNT = queryWindowsNTVersion();
bool cPlatform::_IsNTNewShell = queryWindowsNTVersion() && queryExplorerShell();
bool cPlatform::_IsWin98 = queryWindows98Version();
bool cPlatform::_IsWin95 = queryWindows95Version();
bool cPlatform::_IsWin9x = queryWindows95Version() || queryWindows98Version() || queryWindowsMEVersion();
bool cPlatform::_IsWin2K = queryWindows2000Version();
bool cPlatform::_IsWinME = queryWindowsMEVersion();
bool cPlatform::_IsWinXP = queryWindowsXPVersion();
bool cPlatform::_IsWin2003 = queryWindows2003Version();
bool cPlatform::_IsWinVista = queryWindowsVistaVersion();
bool cPlatform::_IsWinServer2008 = queryWindowsServer2008Version();

// The library's entry. It stands last in this file, so that it runs after
// every static initialiser at load and, being destroyed first, before the
// run time ends at unload.
class cLibraryEntry {
 public:
  cLibraryEntry() { entry(Reason::ProcessAttach); }
  ~cLibraryEntry() { entry(Reason::ProcessDetach); }

 private:
  static void entry(Reason reason) {
    if (reason == Reason::ProcessAttach) {
      const HINSTANCE instance = instanceHandle();
      AfxInitExtensionModule(extensionModule, instance);
      new CDynLinkLibrary(extensionModule, FALSE);
      cResourceLibrary::initialize(true);
      // Refers to the module that is already loaded: loads and frees nothing.
      ownModule = new (std::nothrow) cDynamicLinkLibrary(cModuleHandle(instance));
    } else {
      if (ownModule != nullptr) delete ownModule;
      cResourceLibrary::initialize(false);
      AfxTermExtensionModule(extensionModule, FALSE);
    }
  }
};

namespace {
cLibraryEntry libraryEntry;
}

cDynamicLinkLibrary& getQuenlithDLL() { return *ownModule; }

HINSTANCE getQuenlithModuleHandle() { return getQuenlithDLL().handle(); }

DWORD cNotifierMessageId() { return notifierMessageId; }

cString formatCodeLocation(const wchar_t* what, const wchar_t* file, const wchar_t* function, int line) {
  cDynamicLinkLibrary& library = getQuenlithDLL();
  const cResourceString location(2, library);
  cString text;
  text.format(location.c_str(), what, file, function, line);
  return text;
}
