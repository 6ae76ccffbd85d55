// Replaces a function that a loaded DLL imports, while an object exists. The DLL's file is not
// changed.
#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace support {

// Several replacements of one import must end in the reverse order in which they began. An object
// may outlive the DLL.
class Interposer {
  public:
    // Replaces every import with that name, from any DLL. Throws std::runtime_error if `module`
    // does not import such a function.
    Interposer(HMODULE module, const char* function, void* replacement);
    // Replaces only the import from that DLL ("KERNEL32.dll", case-insensitive).
    Interposer(HMODULE module, const char* dll, const char* function, void* replacement);
    ~Interposer();
    Interposer(const Interposer&) = delete;
    Interposer& operator=(const Interposer&) = delete;

    template <class Function>
    requires std::is_function_v<Function> Interposer(HMODULE module, const char* function,
                                                     Function* replacement)
        : Interposer(module, function, reinterpret_cast<void*>(replacement)) {}

    // The function that was imported before.
    template <class Function> Function* original() const {
        return reinterpret_cast<Function*>(m_original);
    }

  private:
    struct Slot {
        void** entry;
        void* before;
    };
    HMODULE m_module;
    std::vector<Slot> m_slots;
    void* m_original = nullptr;
};

// Whether the module imports a function with that name.
bool imports(HMODULE module, const char* function);

// An Interposer whose replacement may be a lambda with captures:
//
//   StandIn<decltype(CreateEventA)> create(module, "CreateEventA", [&](auto...) -> HANDLE {
//       SetLastError(ERROR_ACCESS_DENIED);
//       return nullptr;
//   });
//
// At most eight of one signature may exist at a time. The replacement is called on any thread of
// the DLL.
template <class Function> class StandIn;

template <class Result, class... Arguments> class StandIn<Result(Arguments...)> {
  public:
    using Function = Result(Arguments...);

    StandIn(HMODULE module, const char* function, std::function<Function> body)
        : m_body(std::move(body)), m_slot(this),
          m_interposer(module, function, thunks()[m_slot.number]) {}
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

    // Calls the function that was imported before.
    Result real(Arguments... arguments) const {
        return m_interposer.template original<Function>()(arguments...);
    }
    // The number of calls so far.
    unsigned calls() const { return m_calls; }

  private:
    static constexpr std::size_t slots = 8;
    static inline std::array<std::atomic<StandIn*>, slots> s_bodies{};

    template <std::size_t slot> static Result thunk(Arguments... arguments) {
        StandIn* const current = s_bodies[slot];
        ++current->m_calls;
        return current->m_body(arguments...);
    }
    static const std::array<Function*, slots>& thunks() {
        static constexpr auto table = []<std::size_t... slot>(std::index_sequence<slot...>) {
            return std::array<Function*, slots>{&StandIn::template thunk<slot>...};
        }
        (std::make_index_sequence<slots>{});
        return table;
    }
    // Declared before m_interposer, so that a thunk has its body for as long as it can be called.
    struct Slot {
        explicit Slot(StandIn* owner) {
            StandIn* expected = nullptr;
            while (!s_bodies[number].compare_exchange_strong(expected, owner)) {
                expected = nullptr;
                if (++number == slots) {
                    throw std::runtime_error("too many stand-ins of one signature");
                }
            }
        }
        ~Slot() { s_bodies[number] = nullptr; }
        Slot(const Slot&) = delete;
        Slot& operator=(const Slot&) = delete;

        std::size_t number = 0;
    };

    std::function<Function> m_body;
    std::atomic<unsigned> m_calls = 0;
    Slot m_slot;
    Interposer m_interposer;
};

// Which calls of a function fail.
struct FailingCalls {
    unsigned call = 1;     // the first call that fails; 1 is the next one
    unsigned times = 1;    // the number of calls that fail
    DWORD last_error = 0;  // 0: the last error is not set

    bool selects(unsigned number) const { return number >= call && number - call < times; }
};

// Makes the failing calls of a function return `result` and do nothing. Other calls reach the real
// function.
template <class Function> class Failure;

template <class Result, class... Arguments> class Failure<Result(Arguments...)> {
  public:
    Failure(HMODULE module, const char* function, FailingCalls failing, Result result)
        : m_stand_in(module, function, [this, failing, result](Arguments... arguments) -> Result {
              if (!failing.selects(m_stand_in.calls())) {
                  return m_stand_in.real(arguments...);
              }
              if (failing.last_error != 0) {
                  SetLastError(failing.last_error);
              }
              return result;
          }) {}

    // The number of calls so far, including those that failed.
    unsigned calls() const { return m_stand_in.calls(); }

  private:
    StandIn<Result(Arguments...)> m_stand_in;
};

}  // namespace support
