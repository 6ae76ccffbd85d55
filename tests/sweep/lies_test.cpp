// Every property that an export reads is wrong, one at a time: missing, of another type, empty,
// too long, without a terminator, NULL, or an array of another length than its neighbours.
#include "support/service_names.h"
#include "sweep/sweep.h"

#include <array>
#include <cstring>

using namespace support;

namespace {

using namespace sweep;

const std::string no_property = hex(bus_no_property);
constexpr std::array readers = {"ObGetProperty", "PsFindProperty"};
constexpr std::array tags = {"BOOLEAN", "UINT32", "UINT64", "STR",     "WSTR",
                             "GUID",    "STRZ",   "WSTRZ",  "UINT32Z", "ZTOBJID"};

class LieSweep : public Sweep {
  protected:
    void lie(const Import& import, const Call& call) {
        m_reader = &import;
        m_call = call;
        lie("\"status\": \"" + no_property + '"', fails());
        const std::string& type = property_type(call);
        for (const std::string tag : tags) {
            // An object id may have the type of a GUID.
            const bool is_type = tag == type || (type == "ZTOBJID" && tag == "GUID");
            lie(R"("as": ")" + tag + '"', is_type ? as_clean() : fails());
        }
        const bool is_string = type == "STR" || type == "WSTR";
        for (const char* unreadable : {R"("lie": "unterminated")", R"("lie": "null")"}) {
            lie(unreadable, is_string ? fails() : documented());
        }
        for (const char* other : {R"("lie": "empty")", R"("lie": "long")", R"("lie": "short")"}) {
            lie(other, documented());
        }
    }

  private:
    // The statuses that farlo.h documents for the export.
    static Expectation documented() { return {.outputs_may_be_written = true}; }
    static Expectation as_clean() {
        return {.outcome = &no_effect, .outputs_may_be_written = true};
    }
    // The outcome of the call's failure.
    Expectation fails() {
        return {.injected = bus_no_property,
                .outcome = outcome(m_call, {"returns " + no_property, bus_no_property}),
                .outputs_may_be_written = true};
    }

    void lie(const std::string& lie, const Expectation& expectation) {
        const std::string number = std::to_string(m_call.number);
        const std::string what = std::string(m_reader->name) + " " + number + " " + lie;
        announce(what);
        set_faults(std::string(R"([{"function": ")") + m_reader->name + R"(", "call": )" + number +
                   ", " + lie + "}]");
        check(what, perform(), expectation);
    }

    const Import* m_reader = nullptr;
    Call m_call;
};

TEST_P(LieSweep, HandlesEveryWrongProperty) {
    in_situation(GetParam(), 0, [&] {
        at_every_call([&](const Import& import, const Call& call) {
            for (const char* reader : readers) {
                if (std::strcmp(import.name, reader) == 0) {
                    lie(import, call);
                }
            }
        });
    });
}

SWEEP_ALL(LieSweep);

}  // namespace
