// qnlith error <code>: the library's words for a system error code.
#include <qnlith/qnlith.h>

#include "command.h"

namespace {

int error(const QnlithArguments& arguments) {
  if (arguments.size() != 1) return qnlithUsageError("error", L"expects one error code");
  DWORD code;
  try {
    code = cString(arguments[0].c_str()).asUint(false);
  } catch (const cException& e) {
    return qnlithUsageError("error", e.text);
  }
  cString text = findErrorMessageText(code);
  text.stripTrailing();
  qnlithOut(cString(text + L"\n").c_str());
  return 0;
}

const QnlithCommand command("error", "error <code>            (decimal, or hexadecimal with 0x)", error);

}  // namespace
