// qnlith error <code>: the library's words for a system error code.
#include <qnlith/qnlith.h>

#include "command.h"

namespace {

int error(const QnlithArguments& arguments) {
  if (arguments.size() != 1) return qnlithUsageError("error", L"expects one error code");
  std::int64_t code;
  int status;
  if (!qnlithNumber("error", L"the error code", arguments[0], 0, 0xFFFFFFFF, code, status)) return status;
  cString text = findErrorMessageText(static_cast<DWORD>(code));
  text.stripTrailing();
  qnlithOut(cString(text + L"\n").c_str());
  return 0;
}

const QnlithCommand command("error", "error <code>            (decimal, or hexadecimal with 0x)", error);

}  // namespace
