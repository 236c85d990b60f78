// qnlith demo: strings being formatted, parsed and failing, with the
// library's exact texts; then the road of one event, from a fault in a
// thread to the box that shows it.
#include <qnlith/qnlith.h>

#include <string>

#include "command.h"
#include "demo.h"

namespace {

void show(const wchar_t* what, const cString& result) {
  cString line;
  line.format(L"  %-34s %s\n", what, result.c_str());
  qnlithOut(line.c_str());
}

cString parse(const wchar_t* text, bool hexadecimal) {
  try {
    return cString::fromUint(cString(text).asUint(hexadecimal));
  } catch (const cException& e) {
    return cString(L"cException: ") + e.text;
  }
}

int demo(const QnlithArguments&) {
  qnlithOut(L"Formatting (the platform's wide printf dialect):\n");
  cString s;
  s.format(L"[%-8s|%6d|%+.3f|%#x|%S]", L"left", 42, 3.14159, 255u, "narrow");
  show(L"format", s);
  show(L"fromInt(-7)", cString::fromInt(-7));
  show(L"fromUint(3735928559, \"0x%08X\")", cString::fromUint(3735928559u, L"0x%08X"));
  s.formatMessage(L"%2 comes before %1!d!", 1, L"two");
  show(L"formatMessage", s);

  qnlithOut(L"\nParsing numbers (asUint):\n");
  show(L"\"0x1f\", decimal asked", parse(L"0x1f", false));
  show(L"\"ff\", hexadecimal", parse(L"ff", true));
  show(L"\"4294967296\" wraps", parse(L"4294967296", false));
  show(L"\"ff\", decimal", parse(L"ff", false));
  show(L"\"0x\"", parse(L"0x", false));
  show(L"\"12 \"", parse(L"12 ", false));

  qnlithOut(L"\nLimits and failures:\n");
  const std::wstring longText(5000, L'x');
  s.format(L"%s", longText.c_str());
  show(L"format of 5000 characters keeps", cString::fromUint(s.length()));
  show(L"cException of 5000 keeps", cString::fromUint(static_cast<DWORD>(wcslen(cException(longText.c_str()).text))));
  try {
    s.formatMessage(L"");
  } catch (const cException& e) {
    show(L"formatMessage of nothing", cString(L"cException: ") + e.text);
  }
  cString quoted(L"\"quoted\"");
  const bool stripped = quoted.stripQuotes();
  show(L"stripQuotes", quoted + L" -> " + cString::fromBool(stripped));

  qnlithOut(L"\n");
  return demoRoadOfOneEvent();
}

const QnlithCommand command("demo", "demo", demo);

}  // namespace
