// What process attach sets up for the whole library.
#pragma once

#include <windows.h>

namespace farlo {

// Held during the whole of ValidateClusterW and UnInitializeClusterW.
extern CRITICAL_SECTION library_lock;

// "Global\cvmstartevent", the start token of the cluster node. NULL if it could not be
// created.
extern HANDLE start_event;

class CriticalSectionHold {
  public:
    explicit CriticalSectionHold(CRITICAL_SECTION& section) : m_section(section) {
        EnterCriticalSection(&m_section);
    }
    ~CriticalSectionHold() { LeaveCriticalSection(&m_section); }
    CriticalSectionHold(const CriticalSectionHold&) = delete;
    CriticalSectionHold& operator=(const CriticalSectionHold&) = delete;

  private:
    CRITICAL_SECTION& m_section;
};

}  // namespace farlo
