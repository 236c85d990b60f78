// Message boxes caught by the layer's hook: each is recorded and answered
// with a chosen result, so tests see text, caption and style without a user.
#pragma once

#include <qnlith/win32.h>

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

struct RecordedBox {
  std::wstring text, caption;
  unsigned style = 0;
};

// One at a time: the hook is a plain function, so the record is shared.
// Boxes may come from any thread.
class BoxRecorder {
 public:
  explicit BoxRecorder(int answer = IDOK) {
    clear();
    answerWith(answer);
    previous_ = qnSetMessageBoxHook(record);
  }
  ~BoxRecorder() { qnSetMessageBoxHook(previous_); }
  BoxRecorder(const BoxRecorder&) = delete;
  BoxRecorder& operator=(const BoxRecorder&) = delete;

  void answerWith(int answer) {
    std::lock_guard guard(state().mutex);
    state().answer = answer;
  }
  void clear() {
    std::lock_guard guard(state().mutex);
    state().boxes.clear();
  }
  std::size_t size() const {
    std::lock_guard guard(state().mutex);
    return state().boxes.size();
  }
  bool empty() const { return size() == 0; }
  // A copy: a box shown meanwhile on another thread cannot move it.
  RecordedBox operator[](std::size_t index) const {
    std::lock_guard guard(state().mutex);
    return index < state().boxes.size() ? state().boxes[index] : RecordedBox{};
  }
  // The latest box, or an empty record when none was shown.
  RecordedBox last() const {
    std::lock_guard guard(state().mutex);
    return state().boxes.empty() ? RecordedBox{} : state().boxes.back();
  }

 private:
  struct State {
    std::mutex mutex;
    std::vector<RecordedBox> boxes;
    int answer = IDOK;
  };
  static State& state() {
    static State shared;
    return shared;
  }
  static int record(const wchar_t* text, const wchar_t* caption, unsigned style) {
    std::lock_guard guard(state().mutex);
    state().boxes.push_back({text, caption, style});
    return state().answer;
  }

  QnMessageBoxHook previous_ = nullptr;
};
