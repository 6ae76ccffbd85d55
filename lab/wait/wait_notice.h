// Says what a program waits for, if that takes long.
#pragma once

#include <windows.h>

#include <string>

namespace lab {

// Unless it is destroyed within 2 s, writes "PROGRAM: waiting for WHAT" to stderr.
class WaitNotice {
  public:
    WaitNotice(const char* program, const std::string& what);
    ~WaitNotice();
    WaitNotice(const WaitNotice&) = delete;
    WaitNotice& operator=(const WaitNotice&) = delete;

  private:
    static DWORD WINAPI say_later(void* notice);

    std::string m_line;
    HANDLE m_over;
    HANDLE m_thread = nullptr;
};

}  // namespace lab
