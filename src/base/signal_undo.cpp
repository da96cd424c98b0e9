// SPDX-License-Identifier: Apache-2.0
// A signal's handler may not allocate or wait, so what it undoes is in a table of fixed size,
// filled before the signal comes. The state of a slot is what makes its other members valid: it is
// set last and taken first, and a slot that is being filled is passed over. The handler acts once
// and then raises the signal again, so that the parent sees what the process died of.

#include "base/signal_undo.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstring>

namespace ryx {
namespace {

enum class State { Free, Filling, Remove, CutBack, Write };
static_assert(std::atomic<State>::is_always_lock_free);

struct Slot {
  std::atomic<State> state{State::Free};
  char path[PATH_MAX] = {};
  int file = -1;
  off_t bytes = 0;
  const char* text = nullptr;
};

std::array<Slot, 32> g_slots;

/// The index of a slot that is now the caller's; the number of slots where none is free.
size_t takeSlot() {
  for (size_t i = 0; i < g_slots.size(); ++i) {
    State free = State::Free;
    if (g_slots[i].state.compare_exchange_strong(free, State::Filling)) return i;
  }
  return g_slots.size();
}

void undo(const Slot& slot) {
  switch (slot.state) {
    case State::Free:
    case State::Filling: return;
    case State::Remove: ::unlink(slot.path); return;
    // That it fails can be told to nobody any more.
    case State::CutBack:
      if (::ftruncate(slot.file, slot.bytes) != 0) return;
      return;
    case State::Write:
      if (::write(slot.file, slot.text, std::strlen(slot.text)) < 0) return;
  }
}

/// Installed to act once: it ends the process by the signal itself.
void undoAndEnd(int signal) {
  for (const Slot& slot : g_slots) undo(slot);
  ::raise(signal);
}

}  // namespace

void SignalUndo::removeFile(const std::string& path) {
  forget();
  if (path.size() >= sizeof Slot::path) return;
  const size_t slot = takeSlot();
  if (slot == g_slots.size()) return;
  std::memcpy(g_slots[slot].path, path.c_str(), path.size() + 1);
  g_slots[slot].state = State::Remove;
  slot_ = slot;
}

void SignalUndo::cutBack(int file, off_t bytes) {
  forget();
  const size_t slot = takeSlot();
  if (slot == g_slots.size()) return;
  g_slots[slot].file = file;
  g_slots[slot].bytes = bytes;
  g_slots[slot].state = State::CutBack;
  slot_ = slot;
}

void SignalUndo::write(int file, const char* text) {
  forget();
  const size_t slot = takeSlot();
  if (slot == g_slots.size()) return;
  g_slots[slot].file = file;
  g_slots[slot].text = text;
  g_slots[slot].state = State::Write;
  slot_ = slot;
}

void SignalUndo::forget() {
  if (slot_ != kNone) g_slots[slot_].state = State::Free;
  slot_ = kNone;
}

SignalsHeldBack::SignalsHeldBack() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before_);
}

SignalsHeldBack::~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

void undoOnSignals() {
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXCPU, SIGXFSZ}) {
    struct sigaction present = {};
    if (::sigaction(signal, nullptr, &present) != 0 || present.sa_handler == SIG_IGN) continue;
    struct sigaction action = {};
    action.sa_handler = undoAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    ::sigaction(signal, &action, nullptr);
  }
}

}  // namespace ryx
