// qnlith message <file> <id>: a numbered message of a message file.
#include <qnlith/qnlith.h>

#include "command.h"

namespace {

int message(const QnlithArguments& arguments) {
  if (arguments.size() != 2) return qnlithUsageError("message", L"expects a message file and a message number");
  std::int64_t number;
  int status;
  if (!qnlithNumber("message", L"the message number", arguments[1], 0, 0xFFFFFFFF, number, status)) return status;
  try {
    setMessageFile(arguments[0].c_str());
    const cString text = messageText(static_cast<DWORD>(number));
    if (text.isEmpty()) {
      qnlithErr(L"qnlith message: " + arguments[0] + L" could not be loaded\n");
      return 1;
    }
    qnlithOut(text.c_str());
    return 0;
  } catch (const cException& e) {
    qnlithErr(std::wstring(L"qnlith message: ") + e.text + L"\n");
    return 1;
  }
}

const QnlithCommand command("message", "message <file> <id>     (a message of a message file)", message);

}  // namespace
