// A call of an export, with memory for its arguments.
#pragma once

#include "farlo.h"
#include "support/guarded_buffer.h"
#include "sweep/situations.h"

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sweep {

// One argument and its memory.
class PassedArgument {
  public:
    PassedArgument(const Argument& argument, opal_handle handle);

    // The value that is passed.
    std::uint64_t value() const { return m_value; }
    // The output's bytes; of a slot only whether it holds a handle.
    std::vector<std::uint8_t> output() const;
    // Whether an output was written.
    bool written() const;
    // What was written beyond the output; "" for nothing.
    std::string overrun() const;
    // The handle in a slot, which our caller releases; NULL for other arguments.
    opal_handle slot_handle() const;
    // The handle that was made for the call to release; NULL for other arguments.
    opal_handle own_handle() const;

  private:
    void make_buffer(std::size_t size, const void* content);

    const Argument& m_argument;
    std::uint64_t m_value = 0;
    std::wstring m_wide;
    opal_handle m_handle = nullptr;
    std::unique_ptr<support::GuardedBuffer> m_buffer;
    std::unique_ptr<support::GuardedBuffer> m_names;
};

class PreparedCall {
  public:
    // The arguments are kept by reference.
    PreparedCall(const std::vector<Argument>& arguments, opal_handle handle);

    // Calls the export. Once only.
    std::uint32_t run(FARPROC entry);
    const std::vector<std::unique_ptr<PassedArgument>>& arguments() const { return m_arguments; }

  private:
    std::vector<std::unique_ptr<PassedArgument>> m_arguments;
};

}  // namespace sweep
