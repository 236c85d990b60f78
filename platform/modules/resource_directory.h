// The resources of one module, whatever file they were read from (.res
// data linked into an ELF module, a .res file, or a PE resource directory),
// in the order a PE resource directory keeps them: types, then names, then
// languages, each with string names first (case-insensitively sorted) and
// then numbers in rising order.
#pragma once

#include <string>
#include <vector>
#include <qnlith/win32/types.h>

#include "../errors/api.h"
#include "bytes.h"

namespace qn {

// A resource type or name: a 16-bit number or a string. Strings compare
// without regard to case, as the system's resource compiler stores them in
// upper case.
struct ResourceName {
  bool isId = true;
  WORD id = 0;
  std::wstring text;

  static ResourceName number(WORD id) { return ResourceName{true, id, {}}; }
  static ResourceName string(std::wstring text) { return ResourceName{false, 0, std::move(text)}; }

  // The form the API takes: a number below 0x10000 or a pointer to a
  // string; "#123" stands for the number 123. Null is the number 0. False
  // for an empty string and a "#" that is not followed by a number below
  // 0x10000.
  static bool fromApi(LPCWSTR name, ResourceName& out);

  // The form the API hands out (MAKEINTRESOURCE or the text's pointer).
  LPWSTR forApi() const;

  bool operator==(const ResourceName& other) const;
};

// Directory order: strings (case-insensitively) before numbers.
QN_INTERNAL bool resourceNameLess(const ResourceName& a, const ResourceName& b);

struct ResourceEntry {
  ResourceName type;
  ResourceName name;
  WORD language = 0;
  Bytes data;
};

class QN_INTERNAL ResourceDirectory {
 public:
  // Adds an entry; a second entry with the same type, name and language is
  // ignored, the first one stands.
  void add(ResourceEntry entry);
  // Sorts into directory order; call once all entries are in.
  void finish();

  bool empty() const { return entries_.empty(); }
  const std::vector<ResourceEntry>& entries() const { return entries_; }

  // Lookup with the language fallback of the system's resource loader; see
  // docs/modules.md. Null with ERROR_RESOURCE_TYPE_NOT_FOUND or
  // ERROR_RESOURCE_NAME_NOT_FOUND in `error`.
  const ResourceEntry* find(const ResourceName& type, const ResourceName& name, WORD language,
                            DWORD& error) const;

  // The entry a handle stands for, if it is one of this directory's.
  const ResourceEntry* entryAt(const void* handle) const;

  // Distinct types, names of a type and languages of a name, in order.
  std::vector<const ResourceName*> types() const;
  std::vector<const ResourceName*> names(const ResourceName& type) const;
  std::vector<WORD> languages(const ResourceName& type, const ResourceName& name) const;

 private:
  std::vector<ResourceEntry> entries_;
};

// The language a lookup with LANG_NEUTRAL asks for: the user's and the
// system's default user-interface language, English (United States).
constexpr WORD DefaultUiLanguage = 0x0409;

// The candidate languages tried for a request, in order, without repeats.
QN_INTERNAL std::vector<WORD> languageFallback(WORD requested);

}  // namespace qn
