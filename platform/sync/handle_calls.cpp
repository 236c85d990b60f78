#include <qnlith/win32/handles.h>

#include "errors/errors.h"
#include "sync/handles.h"

namespace {

// A handle of the calling process: its pseudo handle or a real one. Handles
// don't cross into a started program.
bool isOwnProcess(HANDLE process) {
  auto object = qn::HandleTable::get(process);
  if (object == nullptr) return false;
  if (object == qn::currentProcessObject()) return true;
  return qn::failWith(object->kind() == qn::ObjectKind::Process ? ERROR_NOT_SUPPORTED : ERROR_INVALID_HANDLE);
}

}  // namespace

BOOL WINAPI CloseHandle(HANDLE handle) { return qn::HandleTable::close(handle); }

BOOL WINAPI DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, LPHANDLE target, DWORD,
                            BOOL, DWORD options) {
  if (!isOwnProcess(sourceProcess)) return FALSE;
  std::shared_ptr<qn::KernelObject> object = qn::HandleTable::get(source);
  if (options & DUPLICATE_CLOSE_SOURCE) qn::HandleTable::close(source);
  if (object == nullptr) return qn::failWith(ERROR_INVALID_HANDLE);
  if (!isOwnProcess(targetProcess)) return FALSE;
  if (target == nullptr) return qn::failWith(ERROR_INVALID_PARAMETER);
  HANDLE copy = qn::HandleTable::insert(std::move(object));
  if (copy == nullptr) return FALSE;
  *target = copy;
  return TRUE;
}
