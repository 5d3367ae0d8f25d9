// Running work that may recurse deeply on a thread with a large stack.
//
// A shader compiler recurses over the expressions it parses: one long sum in
// an effect file (tens of thousands of terms) goes deeper than the 8 MiB
// stack of an ordinary thread and would take the whole process down. The GL
// service therefore compiles on a thread of its own with a stack of
// kCompileStackBytes. The stack is address space reserved by the system's
// thread library; pages are committed only as the compiler reaches them.
#pragma once

#include <cstddef>
#include <functional>

inline constexpr size_t kCompileStackBytes = size_t(256) << 20;

// Runs `work` on a new thread with a stack of `stackBytes` and waits for it.
// When no such thread can be made, runs it on the calling thread.
void runOnLargeStack(const std::function<void()>& work, size_t stackBytes = kCompileStackBytes);
