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
class Passed {
  public:
    Passed(const Argument& argument, opal_handle handle);

    // What is passed.
    std::uint64_t word() const { return m_word; }
    // What was written, without what differs from call to call.
    std::vector<std::uint8_t> output() const;
    // Whether an output was touched.
    bool written() const;
    // What was touched beside it; "" for nothing.
    std::string overrun() const;
    // The handle that stands in a slot. The caller gives it back.
    opal_handle slot() const;
    // A handle that was made for the call to give back.
    opal_handle own() const;

  private:
    void make_buffer(std::size_t size, const void* content);

    const Argument& m_argument;
    std::uint64_t m_word = 0;
    std::wstring m_wide;
    opal_handle m_handle = nullptr;
    std::unique_ptr<support::GuardedBuffer> m_buffer;
    std::unique_ptr<support::GuardedBuffer> m_target;
};

class PreparedCall {
  public:
    // The arguments are kept by reference.
    PreparedCall(const std::vector<Argument>& arguments, opal_handle handle);

    // Calls the export; once.
    std::uint32_t run(FARPROC entry);
    const std::vector<std::unique_ptr<Passed>>& arguments() const { return m_arguments; }

  private:
    std::vector<std::unique_ptr<Passed>> m_arguments;
};

}  // namespace sweep
