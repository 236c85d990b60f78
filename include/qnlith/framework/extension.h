// Extension modules: libraries that share the framework's state with the
// application that loads them. Each joins the framework's chain of modules
// when it loads and leaves it when it unloads.
#pragma once

#include <qnlith/framework/api.h>
#include <qnlith/framework/exceptions.h>
#include <qnlith/win32/types.h>

struct CRuntimeClass;
class COleObjectFactory;
class CDynLinkLibrary;

// The framework's record of one extension module.
struct AFX_EXTENSION_MODULE {
  BOOL bInitialized;
  HMODULE hModule;
  HMODULE hResource;
  CRuntimeClass* pFirstSharedClass;
  COleObjectFactory* pFirstSharedFactory;
};

// The framework's state for the running program: the heads of its class
// and object-factory lists, and the chain of extension modules.
struct QN_FRAMEWORK_API AFX_MODULE_STATE {
  CRuntimeClass* m_pClassInit;
  COleObjectFactory* m_pFactoryInit;
  CDynLinkLibrary* m_pFirstLibrary;
  // Where a loading module's early hook puts the program's list heads while
  // the module's own static initialisers build lists of their own.
  CRuntimeClass* m_pSavedClassInit;
  COleObjectFactory* m_pSavedFactoryInit;
  HINSTANCE m_hCurrentInstanceHandle;
  HINSTANCE m_hCurrentResourceHandle;
};

QN_FRAMEWORK_API AFX_MODULE_STATE* AfxGetModuleState();

// Where the framework looks for resources first: the module state's
// resource handle, or the main program while none is set.
QN_FRAMEWORK_API HINSTANCE AfxGetResourceHandle();
QN_FRAMEWORK_API void AfxSetResourceHandle(HINSTANCE resource);
// The module holding string nID: the resource handle, else the first
// extension module of the chain (newest first) that has it; null if none.
QN_FRAMEWORK_API HINSTANCE AfxFindStringResourceHandle(UINT nID);

// Takes the class and factory lists that the module's static initialisers
// built (the module's early hook moved the program's aside first) into the
// record, and puts the program's lists back.
QN_FRAMEWORK_API BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE module);

// Ends the registration: every chain entry of the module is deleted.
QN_FRAMEWORK_API void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL all = FALSE);

// One link of the chain. The framework owns it from construction on.
class QN_FRAMEWORK_API CDynLinkLibrary : public CObject {
 public:
  CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL system = FALSE);
  ~CDynLinkLibrary() override;

  HMODULE m_hModule;
  HMODULE m_hResource;
  CRuntimeClass* m_pFirstSharedClass;
  COleObjectFactory* m_pFirstSharedFactory;
  BOOL m_bSystem;
  CDynLinkLibrary* m_pNextDLL;
};
