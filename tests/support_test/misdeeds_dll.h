// Loads misdeeds.dll while the object exists.
#pragma once

#include "support_test/misdeeds.h"

#include <stdexcept>

class Misdeeds {
  public:
    Misdeeds() {
        if (m_module == nullptr) {
            throw std::runtime_error("misdeeds.dll is missing");
        }
    }
    ~Misdeeds() { FreeLibrary(m_module); }
    Misdeeds(const Misdeeds&) = delete;
    Misdeeds& operator=(const Misdeeds&) = delete;

    HMODULE module() const { return m_module; }

  private:
    template <class Function> Function entry(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(m_module, name)));
    }

    HMODULE m_module = LoadLibraryW(L"misdeeds.dll");

  public:
    const Allocate_fn allocate = entry<Allocate_fn>("AllocateBlock");
    const Allocate_fn allocate_zeroed = entry<Allocate_fn>("AllocateZeroed");
    const Allocate_fn allocate_by_new = entry<Allocate_fn>("AllocateByNew");
    const Allocate_fn allocate_pages = entry<Allocate_fn>("AllocatePages");
    const Allocate_fn allocate_from_bus = entry<Allocate_fn>("AllocateFromBus");
    const Reallocate_fn reallocate = entry<Reallocate_fn>("Reallocate");
    const Release_fn release = entry<Release_fn>("Release");
    const MakeEvent_fn make_event = entry<MakeEvent_fn>("MakeEvent");
    const Raise_fn raise_and_catch = entry<Raise_fn>("RaiseAndCatch");
    const Write_fn write_byte = entry<Write_fn>("WriteByte");
    const Read_fn read_byte = entry<Read_fn>("ReadByte");
};
