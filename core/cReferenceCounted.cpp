#include <qnlith/core/cReferenceCounted.h>
#include <qnlith/core/cThreadSafeOperations.h>

cReferenceCounted::cReferenceCounted(DWORD initialCount) : count(initialCount) {}

cReferenceCounted::cReferenceCounted(const cReferenceCounted& other) : count(other.count) {}

cReferenceCounted& cReferenceCounted::operator=(const cReferenceCounted& other) {
  count = other.count;
  return *this;
}

cReferenceCounted::~cReferenceCounted() {}

DWORD cReferenceCounted::addReference() { return cThreadSafeOperations::increment(count); }

DWORD cReferenceCounted::removeReference() { return cThreadSafeOperations::decrement(count); }

DWORD cReferenceCounted::useCount() const { return count; }
