// The window records: a caption and a parent under a never-reused handle.
#include <qnlith/win32/window.h>

#include <cwchar>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "errors/errors.h"

namespace {

struct Window {
  std::wstring text;
  HWND parent = nullptr;
};

struct Windows {
  std::mutex lock;
  std::map<HWND, Window> all;
  std::uintptr_t next = 0x10010;
};

Windows& windows() {
  static Windows* instance = new Windows;
  return *instance;
}

Window* find(Windows& w, HWND window) {
  auto it = w.all.find(window);
  if (it == w.all.end()) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return nullptr;
  }
  return &it->second;
}

}  // namespace

HWND WINAPI CreateWindowExW(DWORD, LPCWSTR, LPCWSTR windowName, DWORD, int, int, int, int, HWND parent, HMENU,
                            HINSTANCE, LPVOID) {
  auto& w = windows();
  std::lock_guard guard(w.lock);
  if (parent != nullptr && find(w, parent) == nullptr) return nullptr;
  HWND handle = reinterpret_cast<HWND>(w.next);
  w.next += 2;
  w.all[handle] = Window{windowName != nullptr ? windowName : L"", parent};
  return handle;
}

BOOL WINAPI DestroyWindow(HWND window) {
  auto& w = windows();
  std::lock_guard guard(w.lock);
  if (find(w, window) == nullptr) return FALSE;
  // The window goes with every window below it.
  std::vector<HWND> doomed{window};
  for (std::size_t i = 0; i < doomed.size(); ++i)
    for (const auto& [handle, record] : w.all)
      if (record.parent == doomed[i]) doomed.push_back(handle);
  for (HWND handle : doomed) w.all.erase(handle);
  return TRUE;
}

BOOL WINAPI IsWindow(HWND window) {
  auto& w = windows();
  std::lock_guard guard(w.lock);
  return w.all.count(window) != 0 ? TRUE : FALSE;
}

HWND WINAPI GetParent(HWND window) {
  auto& w = windows();
  std::lock_guard guard(w.lock);
  const Window* record = find(w, window);
  return record != nullptr ? record->parent : nullptr;
}

int WINAPI GetWindowTextW(HWND window, LPWSTR text, int maxCount) {
  auto& w = windows();
  std::lock_guard guard(w.lock);
  const Window* record = find(w, window);
  if (record == nullptr || text == nullptr || maxCount <= 0) return 0;
  const std::size_t n = std::min<std::size_t>(record->text.size(), static_cast<std::size_t>(maxCount - 1));
  std::wmemcpy(text, record->text.data(), n);
  text[n] = L'\0';
  return static_cast<int>(n);
}

int WINAPI GetWindowTextLengthW(HWND window) {
  auto& w = windows();
  std::lock_guard guard(w.lock);
  const Window* record = find(w, window);
  return record != nullptr ? static_cast<int>(record->text.size()) : 0;
}

BOOL WINAPI SetWindowTextW(HWND window, LPCWSTR text) {
  auto& w = windows();
  std::lock_guard guard(w.lock);
  Window* record = find(w, window);
  if (record == nullptr) return FALSE;
  record->text = text != nullptr ? text : L"";
  return TRUE;
}
