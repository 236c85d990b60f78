#include <qnlith/framework/extension.h>
#include <qnlith/win32/modules.h>
#include <qnlith/win32/resources.h>

#include <mutex>

namespace {

AFX_MODULE_STATE programState{};

// Loads and unloads of different modules may run on different threads.
std::mutex& chainLock() {
  static std::mutex lock;
  return lock;
}

}  // namespace

AFX_MODULE_STATE* AfxGetModuleState() { return &programState; }

HINSTANCE AfxGetResourceHandle() {
  HINSTANCE resource = AfxGetModuleState()->m_hCurrentResourceHandle;
  return resource != nullptr ? resource : GetModuleHandleW(nullptr);
}

void AfxSetResourceHandle(HINSTANCE resource) { AfxGetModuleState()->m_hCurrentResourceHandle = resource; }

namespace {

bool hasString(HINSTANCE module, UINT id) {
  LPCWSTR text = nullptr;
  return module != nullptr && LoadStringW(module, id, reinterpret_cast<LPWSTR>(&text), 0) > 0;
}

}  // namespace

HINSTANCE AfxFindStringResourceHandle(UINT nID) {
  HINSTANCE first = AfxGetResourceHandle();
  if (hasString(first, nID)) return first;
  std::lock_guard guard(chainLock());
  for (CDynLinkLibrary* library = AfxGetModuleState()->m_pFirstLibrary; library != nullptr;
       library = library->m_pNextDLL)
    if (hasString(library->m_hResource, nID)) return library->m_hResource;
  return nullptr;
}

BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE module) {
  if (state.bInitialized) return TRUE;
  AFX_MODULE_STATE* program = AfxGetModuleState();
  state.hModule = module;
  state.hResource = module;
  // What the module's static initialisers registered since its early hook.
  state.pFirstSharedClass = program->m_pClassInit;
  state.pFirstSharedFactory = program->m_pFactoryInit;
  program->m_pClassInit = program->m_pSavedClassInit;
  program->m_pFactoryInit = program->m_pSavedFactoryInit;
  program->m_pSavedClassInit = nullptr;
  program->m_pSavedFactoryInit = nullptr;
  state.bInitialized = TRUE;
  return TRUE;
}

void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL all) {
  if (state.hModule == nullptr) return;
  CDynLinkLibrary* leaving = nullptr;
  {
    std::lock_guard guard(chainLock());
    CDynLinkLibrary** link = &AfxGetModuleState()->m_pFirstLibrary;
    while (*link != nullptr) {
      CDynLinkLibrary* entry = *link;
      if (entry->m_hModule == state.hModule && (all || !entry->m_bSystem)) {
        *link = entry->m_pNextDLL;
        entry->m_pNextDLL = leaving;
        leaving = entry;
      } else {
        link = &entry->m_pNextDLL;
      }
    }
  }
  while (leaving != nullptr) {
    CDynLinkLibrary* next = leaving->m_pNextDLL;
    leaving->m_pNextDLL = nullptr;
    leaving->m_hModule = nullptr;  // already unlinked: the destructor leaves the chain alone
    delete leaving;
    leaving = next;
  }
  state.bInitialized = FALSE;
}

CDynLinkLibrary::CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL system)
    : m_hModule(state.hModule),
      m_hResource(state.hResource),
      m_pFirstSharedClass(state.pFirstSharedClass),
      m_pFirstSharedFactory(state.pFirstSharedFactory),
      m_bSystem(system),
      m_pNextDLL(nullptr) {
  std::lock_guard guard(chainLock());
  AFX_MODULE_STATE* program = AfxGetModuleState();
  m_pNextDLL = program->m_pFirstLibrary;
  program->m_pFirstLibrary = this;
}

CDynLinkLibrary::~CDynLinkLibrary() {
  if (m_hModule == nullptr) return;
  std::lock_guard guard(chainLock());
  for (CDynLinkLibrary** link = &AfxGetModuleState()->m_pFirstLibrary; *link != nullptr; link = &(*link)->m_pNextDLL)
    if (*link == this) {
      *link = m_pNextDLL;
      break;
    }
}
