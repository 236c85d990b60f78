#include "modules/resource_directory.h"

#include <algorithm>
#include <qnlith/win32/errors.h>

#include "text/unicode.h"

namespace qn {

namespace {

int compareNames(const ResourceName& a, const ResourceName& b) {
  if (a.isId != b.isId) return a.isId ? 1 : -1;
  if (a.isId) return a.id == b.id ? 0 : (a.id < b.id ? -1 : 1);
  return compareIgnoringCase(a.text, b.text);
}

bool entryLess(const ResourceEntry& a, const ResourceEntry& b) {
  if (int c = compareNames(a.type, b.type)) return c < 0;
  if (int c = compareNames(a.name, b.name)) return c < 0;
  return a.language < b.language;
}

}  // namespace

bool ResourceName::fromApi(LPCWSTR name, ResourceName& out) {
  // Every value below 0x10000 is an integer identifier, 0 among them: a
  // resource file may hold id 0, and enumeration hands it out as
  // MAKEINTRESOURCEW(0), so lookup takes it back.
  const auto value = reinterpret_cast<ULONG_PTR>(name);
  if ((value >> 16) == 0) {
    out = number(static_cast<WORD>(value));
    return true;
  }
  if (name[0] == L'\0') return false;
  if (name[0] == L'#') {
    DWORD id = 0;
    const wchar_t* p = name + 1;
    if (*p == L'\0') return false;
    for (; *p != L'\0'; ++p) {
      if (*p < L'0' || *p > L'9') return false;
      id = id * 10 + static_cast<DWORD>(*p - L'0');
      if (id > 0xFFFF) return false;
    }
    out = number(static_cast<WORD>(id));
    return true;
  }
  out = string(name);
  return true;
}

LPWSTR ResourceName::forApi() const {
  if (isId) return reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(id));
  return const_cast<LPWSTR>(text.c_str());
}

bool ResourceName::operator==(const ResourceName& other) const { return compareNames(*this, other) == 0; }

bool resourceNameLess(const ResourceName& a, const ResourceName& b) { return compareNames(a, b) < 0; }

void ResourceDirectory::add(ResourceEntry entry) { entries_.push_back(std::move(entry)); }

void ResourceDirectory::finish() {
  // A stable sort keeps the first of equal entries in front; the rest go.
  std::stable_sort(entries_.begin(), entries_.end(), entryLess);
  auto same = [](const ResourceEntry& a, const ResourceEntry& b) { return !entryLess(a, b) && !entryLess(b, a); };
  entries_.erase(std::unique(entries_.begin(), entries_.end(), same), entries_.end());
  entries_.shrink_to_fit();
}

std::vector<WORD> languageFallback(WORD requested) {
  std::vector<WORD> order;
  auto add = [&order](WORD language) {
    if (std::find(order.begin(), order.end(), language) == order.end()) order.push_back(language);
  };
  const WORD language = requested == MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL) ? DefaultUiLanguage : requested;
  add(language);
  add(MAKELANGID(PRIMARYLANGID(language), SUBLANG_NEUTRAL));
  add(MAKELANGID(PRIMARYLANGID(language), SUBLANG_DEFAULT));
  add(DefaultUiLanguage);
  add(MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL));
  add(MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT));
  add(MAKELANGID(LANG_NEUTRAL, SUBLANG_SYS_DEFAULT));
  return order;
}

const ResourceEntry* ResourceDirectory::find(const ResourceName& type, const ResourceName& name, WORD language,
                                             DWORD& error) const {
  auto typeLess = [](const ResourceEntry& e, const ResourceName& t) { return compareNames(e.type, t) < 0; };
  auto first = std::lower_bound(entries_.begin(), entries_.end(), type, typeLess);
  if (first == entries_.end() || !(first->type == type)) {
    error = ERROR_RESOURCE_TYPE_NOT_FOUND;
    return nullptr;
  }
  auto nameLess = [&type](const ResourceEntry& e, const ResourceName& n) {
    return e.type == type && compareNames(e.name, n) < 0;
  };
  auto begin = std::lower_bound(first, entries_.end(), name, nameLess);
  auto end = begin;
  while (end != entries_.end() && end->type == type && end->name == name) ++end;
  if (begin == end) {
    error = ERROR_RESOURCE_NAME_NOT_FOUND;
    return nullptr;
  }
  for (WORD candidate : languageFallback(language))
    for (auto it = begin; it != end; ++it)
      if (it->language == candidate) return &*it;
  return &*begin;  // no preferred language: the first the directory lists
}

const ResourceEntry* ResourceDirectory::entryAt(const void* handle) const {
  if (entries_.empty()) return nullptr;
  const auto address = reinterpret_cast<std::uintptr_t>(handle);
  const auto begin = reinterpret_cast<std::uintptr_t>(entries_.data());
  const auto end = reinterpret_cast<std::uintptr_t>(entries_.data() + entries_.size());
  if (address < begin || address >= end || (address - begin) % sizeof(ResourceEntry) != 0) return nullptr;
  return &entries_[(address - begin) / sizeof(ResourceEntry)];
}

std::vector<const ResourceName*> ResourceDirectory::types() const {
  std::vector<const ResourceName*> out;
  for (const auto& e : entries_)
    if (out.empty() || !(*out.back() == e.type)) out.push_back(&e.type);
  return out;
}

std::vector<const ResourceName*> ResourceDirectory::names(const ResourceName& type) const {
  std::vector<const ResourceName*> out;
  for (const auto& e : entries_)
    if (e.type == type && (out.empty() || !(*out.back() == e.name))) out.push_back(&e.name);
  return out;
}

std::vector<WORD> ResourceDirectory::languages(const ResourceName& type, const ResourceName& name) const {
  std::vector<WORD> out;
  for (const auto& e : entries_)
    if (e.type == type && e.name == name) out.push_back(e.language);
  return out;
}

}  // namespace qn
