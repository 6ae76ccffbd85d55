// Every property that an export reads lies, one at a time: it is missing, of another type,
// empty, too long, without a terminator, or an array of another length than its neighbours.
#include "sweep.h"

#include <array>
#include <cstring>

namespace {

using namespace sweep;

constexpr std::array readers = {"ObGetProperty", "PsFindProperty"};
constexpr std::array lies = {R"("status": "0xc100003a")", R"("lie": "empty")",
                             R"("lie": "long")",          R"("lie": "unterminated")",
                             R"("lie": "short")",         R"("lie": "null")",
                             R"("as": "BOOLEAN")",        R"("as": "UINT32")",
                             R"("as": "UINT64")",         R"("as": "STR")",
                             R"("as": "WSTR")",           R"("as": "GUID")",
                             R"("as": "STRZ")",           R"("as": "WSTRZ")",
                             R"("as": "UINT32Z")",        R"("as": "ZTOBJID")"};

class LieSweep : public Sweep {
  protected:
    void lie(const char* reader, unsigned call, const char* what_lie) {
        const std::string what = std::string(reader) + " " + std::to_string(call) + " " + what_lie;
        tell(what);
        set_faults(std::string(R"([{"function": ")") + reader + R"(", "call": )" +
                   std::to_string(call) + ", " + what_lie + "}]");
        const Result result = perform();
        Judgement judgement;
        judgement.lied_to = true;
        judge(what, result, judgement);
    }
};

TEST_P(LieSweep, EveryPropertyLies) {
    in_situation(GetParam(), 0, [&] {
        at_every_call([&](const Import& import, const Call& call) {
            for (const char* reader : readers) {
                if (std::strcmp(import.name, reader) == 0) {
                    for (const char* one : lies) {
                        lie(reader, call.number, one);
                    }
                }
            }
        });
    });
}

SWEEP_ALL(LieSweep);

}  // namespace
