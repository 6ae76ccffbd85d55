#include "ztbus3/refusal_report.h"

#include "store/locks.h"

#include <cstdio>

namespace lab {

void report_refusal(const std::string& reason) {
    static SRWLOCK lock = SRWLOCK_INIT;
    static auto& last = *new std::string;  // not destroyed: threads may outlive this DLL's statics
    const Exclusive hold(lock);
    if (reason != last) {
        last = reason;
        std::fprintf(stderr, "ztbus3: connection refused: %s\n", reason.c_str());
        std::fflush(stderr);
    }
}

}  // namespace lab
