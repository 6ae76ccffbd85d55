// Replaces a function that a loaded DLL imports, for the life of an object. The
// DLL's file is untouched.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace support {

class Interposer {
  public:
    // Every import of that name, from whichever DLL, becomes `replacement`.
    // Throws std::runtime_error when `module` imports no such function.
    Interposer(HMODULE module, const char* function, void* replacement);
    ~Interposer();
    Interposer(const Interposer&) = delete;
    Interposer& operator=(const Interposer&) = delete;

    template <class Function>
    Interposer(HMODULE module, const char* function, Function* replacement)
        : Interposer(module, function, reinterpret_cast<void*>(replacement)) {}

    // What was imported before.
    template <class Function> Function* original() const {
        return reinterpret_cast<Function*>(m_original);
    }

  private:
    struct Slot {
        void** entry;
        void* before;
    };
    std::vector<Slot> m_slots;
    void* m_original = nullptr;
};

// Whether the module imports a function of that name.
bool imports(HMODULE module, const char* function);

}  // namespace support
