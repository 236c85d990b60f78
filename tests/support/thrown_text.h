// The text of the cException an action throws, for tests of the library's
// failure texts.
#pragma once

#include <qnlith/qnlith.h>

#include <string>

template <typename Action>
std::wstring thrownText(Action action) {
  try {
    action();
  } catch (const cException& e) {
    return e.text;
  }
  return L"<nothing thrown>";
}
