// The kernel object of a process: the calling process itself, behind the
// pseudo handle of GetCurrentProcess (it never ends while anyone can look),
// and the programs the shell starts.
//
// A started program is not our child. A small waiter process, itself
// reparented away from us, is its parent: it waits for the program and
// writes the program's wait status on a pipe whose read end this object
// holds. The object is signalled once that pipe can be read (the status is
// there, or the waiter is gone), so no zombie ever stays with us and no
// thread watches the program.
#pragma once

#include <sys/types.h>

#include <mutex>

#include <qnlith/win32/threads.h>

#include "../errors/api.h"
#include "../sync/sync_objects.h"

namespace qn {

class QN_INTERNAL ProcessObject final : public Event {
 public:
  // The calling process.
  ProcessObject();
  // A started program and the read end of its waiter's status pipe.
  ProcessObject(pid_t pid, int statusPipe);
  ~ProcessObject() override;

  Take canTake(std::uint64_t w, DWORD, std::uint64_t& after) const override {
    if (w & word::Signalled) return Take::Yes;
    if (!ended()) return Take::No;
    after = w | word::Signalled;  // ended once, ended for good
    return Take::Yes;
  }
  int readyDescriptor() const override { return statusPipe_; }

  DWORD id() const { return static_cast<DWORD>(pid_); }
  // STILL_ACTIVE while the program runs, then its exit code.
  DWORD exitCode();

 private:
  bool ended() const;

  const pid_t pid_;
  const int statusPipe_;
  std::mutex lock_;
  bool haveCode_ = false;
  DWORD code_ = STILL_ACTIVE;
};

// The object of the calling process, for its pseudo handle.
QN_INTERNAL std::shared_ptr<KernelObject> currentProcessObject();

}  // namespace qn
