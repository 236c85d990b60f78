// registry_settings: an application's settings in registry nodes below
// HKEY_CURRENT_USER\Software\Qnlith50 Examples\Settings.
//   registry_settings save    writes the settings
//   registry_settings show    prints them (exit status 1 when missing)
//   registry_settings forget  deletes the application's key
// The store is the user's, ~/.config/qnlith/registry/user.db, or the
// directory QNLITH_REGISTRY_DIR names. roundtrip.sh moves the settings out
// to a .reg file and back with the qnlith tool, as regedit moves them on
// Windows.
#include <qnlith/qnlith.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

const wchar_t* const Base = L"Software\\Qnlith50 Examples\\Settings";

std::string utf8(const cString& text) {
  char* bytes = text.asChar();
  std::string out(bytes);
  delete[] bytes;
  return out;
}

void save() {
  // Creates the base key when missing; throws cException when it can't.
  cRegistryNode node(cRegistryNode::CurrentUser, Base, L"", true);
  node.writeValueToKey(L"Owner", cString(L"Zoë Ångström \U0001F600"));
  node.writeValueToKey(L"Runs", static_cast<DWORD>(42));
  // A section is a key below the base; a node made with create true
  // creates it when missing.
  node.setSectionKey(L"Window");
  node.writeValueToKey(L"Left", static_cast<DWORD>(120));
  node.writeValueToKey(L"Maximized", true);
}

bool show() {
  cRegistryNode node;
  if (!node.open(Base, cRegistryNode::CurrentUser, false)) return false;
  cString owner;
  DWORD runs = 0, left = 0;
  bool maximized = false;
  if (!node.readValueFromKey(L"Owner", owner) || !node.readValueFromKey(L"Runs", runs)) return false;
  if (!node.keyExists(L"Window")) return false;
  node.setSectionKey(L"Window");
  if (!node.readValueFromKey(L"Left", left) || !node.readValueFromKey(L"Maximized", maximized)) return false;
  std::printf("Owner=%s\nRuns=%lu\nWindow\\Left=%lu\nWindow\\Maximized=%s\n", utf8(owner).c_str(),
              static_cast<unsigned long>(runs), static_cast<unsigned long>(left), maximized ? "yes" : "no");
  return true;
}

// The layer beneath the nodes: RegDeleteKeyW takes one key without
// subkeys, so the section goes first.
bool forget() {
  RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\Qnlith50 Examples\\Settings\\Window");
  RegDeleteKeyW(HKEY_CURRENT_USER, Base);
  return RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\Qnlith50 Examples") == ERROR_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  const char* command = argc == 2 ? argv[1] : "";
  try {
    if (std::strcmp(command, "save") == 0) {
      save();
      return 0;
    }
    if (std::strcmp(command, "show") == 0) return show() ? 0 : 1;
    if (std::strcmp(command, "forget") == 0) return forget() ? 0 : 1;
  } catch (const cException& e) {
    std::fprintf(stderr, "registry_settings: %s\n", utf8(e.text).c_str());
    return 1;
  }
  std::fputs("usage: registry_settings save|show|forget\n", stderr);
  return 2;
}
