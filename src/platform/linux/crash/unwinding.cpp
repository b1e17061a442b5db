#include "platform/linux/crash/unwinding.h"

#define UNW_LOCAL_ONLY
#include <algorithm>
#include <libunwind.h>

#include "platform/linux/crash/registers.h"

namespace pxa::crash {

namespace {

void walk(unw_cursor_t& cursor, FrameList& frames) noexcept {
  unw_word_t previousAddress = 0;
  unw_word_t previousStack = 0;
  do {
    unw_word_t address = 0;
    unw_word_t stack = 0;
    if (unw_get_reg(&cursor, UNW_REG_IP, &address) != 0 || address == 0) return;
    if (unw_get_reg(&cursor, UNW_REG_SP, &stack) != 0) return;
    // A step that leads nowhere: the tables do not cover the first instructions of a new thread.
    if (address == previousAddress && stack == previousStack) return;
    frames.push(address);
    previousAddress = address;
    previousStack = stack;
  } while (!frames.isFull() && unw_step(&cursor) > 0);
}

/// The flag says that the instruction pointer is of an instruction and not of the one after a call.
void walkFrom(ucontext_t& context, int flag, FrameList& frames) noexcept {
  unw_cursor_t cursor;
  if (unw_init_local2(&cursor, reinterpret_cast<unw_context_t*>(&context), flag) == 0) walk(cursor, frames);
}

}  // namespace

void FrameList::removeFirst(std::size_t count) noexcept {
  count = std::min(count, count_);
  std::copy(addresses_ + count, addresses_ + count_, addresses_);
  count_ -= count;
}

void unwind(ucontext_t& context, FrameList& frames) noexcept {
  walkFrom(context, UNW_INIT_SIGNAL_FRAME, frames);
}

void unwindFromCallOfNothing(ucontext_t& context, FrameList& frames) noexcept {
  frames.push(instructionPointer(context));
  ucontext_t caller = context;
  returnFromCall(caller);
  walkFrom(caller, 0, frames);
}

__attribute__((noinline)) void unwindHere(FrameList& frames) noexcept {
  unw_context_t context;
  unw_cursor_t cursor;
  if (unw_getcontext(&context) != 0 || unw_init_local(&cursor, &context) != 0) return;
  walk(cursor, frames);
  frames.removeFirst(1);
}

void prepareUnwinding() noexcept {
  // One step does all of it; further ones would find the callers' tables only.
  unw_context_t context;
  unw_cursor_t cursor;
  if (unw_getcontext(&context) == 0 && unw_init_local(&cursor, &context) == 0) unw_step(&cursor);
}

}  // namespace pxa::crash
