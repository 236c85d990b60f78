/// @file
/// Extension modules: libraries that share the framework's state with the
/// application that loads them. Each joins the framework's chain of modules
/// when it loads and leaves it when it unloads.
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/framework/exceptions.h>
#include <qnlith/win32/types.h>

struct CRuntimeClass;
class COleObjectFactory;
class CDynLinkLibrary;

/// The framework's record of one extension module.
struct AFX_EXTENSION_MODULE {
  /// Whether AfxInitExtensionModule has run for the module.
  BOOL bInitialized;
  /// The module's handle.
  HMODULE hModule;
  /// The module whose resources the extension offers (normally the same).
  HMODULE hResource;
  /// The head of the module's list of run-time classes.
  CRuntimeClass* pFirstSharedClass;
  /// The head of the module's list of object factories.
  COleObjectFactory* pFirstSharedFactory;
};

/// The framework's state for the running program: the heads of its class
/// and object-factory lists, and the chain of extension modules.
struct QN_FRAMEWORK_API AFX_MODULE_STATE {
  /// The head of the program's list of run-time classes.
  CRuntimeClass* m_pClassInit;
  /// The head of the program's list of object factories.
  COleObjectFactory* m_pFactoryInit;
  /// The newest link of the chain of extension modules.
  CDynLinkLibrary* m_pFirstLibrary;
  /// Where a loading module's early hook puts the program's list heads while
  /// the module's own static initialisers build lists of their own.
  CRuntimeClass* m_pSavedClassInit;
  /// The program's factory list head while a module loads, as for the class list.
  COleObjectFactory* m_pSavedFactoryInit;
  /// The program's module.
  HINSTANCE m_hCurrentInstanceHandle;
  /// The module searched first for resources; null means the program.
  HINSTANCE m_hCurrentResourceHandle;
};

/// The program's one module state, owned by the framework.
QN_FRAMEWORK_API AFX_MODULE_STATE* AfxGetModuleState();

/// Where the framework looks for resources first: the module state's
/// resource handle, or the main program while none is set.
QN_FRAMEWORK_API HINSTANCE AfxGetResourceHandle();
/// Sets the module searched first for resources.
QN_FRAMEWORK_API void AfxSetResourceHandle(HINSTANCE resource);
/// The module holding string nID: the resource handle, else the first
/// extension module of the chain (newest first) that has it; null if none.
QN_FRAMEWORK_API HINSTANCE AfxFindStringResourceHandle(UINT nID);

/// Takes the class and factory lists that the module's static initialisers
/// built (the module's early hook moved the program's aside first) into the
/// record, and puts the program's lists back. TRUE on success.
QN_FRAMEWORK_API BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE module);

/// Ends the registration: every chain entry of the module is deleted.
QN_FRAMEWORK_API void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL all = FALSE);

/// One link of the chain. The framework owns it from construction on.
class QN_FRAMEWORK_API CDynLinkLibrary : public CObject {
 public:
  /// Joins the module of the record to the head of the chain; create it with
  /// new, and the framework deletes it when the module ends its registration.
  CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL system = FALSE);
  /// Leaves the chain.
  ~CDynLinkLibrary() override;

  /// The module's handle.
  HMODULE m_hModule;
  /// The module whose resources the link offers.
  HMODULE m_hResource;
  /// The head of the module's list of run-time classes.
  CRuntimeClass* m_pFirstSharedClass;
  /// The head of the module's list of object factories.
  COleObjectFactory* m_pFirstSharedFactory;
  /// Whether the link belongs to the framework itself.
  BOOL m_bSystem;
  /// The next (older) link of the chain, or null.
  CDynLinkLibrary* m_pNextDLL;
};
