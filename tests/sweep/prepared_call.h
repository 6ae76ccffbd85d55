// An export's call with real memory behind its arguments.
#pragma once

#include "farlo.h"
#include "guarded_buffer.h"
#include "situations.h"

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sweep {

// What stands behind one argument, for the call's life.
class PassedArgument {
  public:
    PassedArgument(const Argument& argument, opal_handle handle);

    // What is passed.
    std::uint64_t value() const { return m_value; }
    // What was written, without what differs from call to call.
    std::vector<std::uint8_t> output() const;
    // Whether an output was touched.
    bool written() const;
    // What was touched beside it; "" for nothing.
    std::string overrun() const;
    // The handle that stands in a slot. The caller gives it back.
    opal_handle slot_handle() const;
    // A handle that was made for the call to give back.
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

    // Calls the export; once.
    std::uint32_t run(FARPROC entry);
    const std::vector<std::unique_ptr<PassedArgument>>& arguments() const { return m_arguments; }

  private:
    std::vector<std::unique_ptr<PassedArgument>> m_arguments;
};

}  // namespace sweep
