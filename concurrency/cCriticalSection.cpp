#include <qnlith/concurrency/cCriticalSection.h>

cCriticalSection::cCriticalSection() { InitializeCriticalSection(&section); }

cCriticalSection::~cCriticalSection() { DeleteCriticalSection(&section); }

cCriticalSection& cCriticalSection::operator=(const cCriticalSection& other) {
  section = other.section;
  return *this;
}

cPersistentCriticalSection::cPersistentCriticalSection() = default;

cPersistentCriticalSection::~cPersistentCriticalSection() = default;

cPersistentCriticalSection& cPersistentCriticalSection::operator=(const cPersistentCriticalSection& other) {
  section = other.section;
  return *this;
}

void cPersistentCriticalSection::lock() { section.Lock(); }

void cPersistentCriticalSection::unlock() { section.Unlock(); }
