// The sweep leaves nothing out; and its table.
#include "sweep/sweep.h"

#include <set>

namespace {

using namespace sweep;

const char* const exports[] = {
#define EXPORT(name) #name,
#include "api/exports.inc"
#undef EXPORT
};

class SweepTable : public SweepTest {};

TEST_F(SweepTable, HasEveryExport) {
    std::set<std::string> missing(std::begin(exports), std::end(exports));
    for (const Situation& situation : situations()) {
        missing.erase(situation.export_name);
    }
    EXPECT_THAT(missing, testing::IsEmpty());
}

TEST_F(SweepTable, KnowsEveryImport) {
    once([&] { EXPECT_THAT(unknown_imports(dll().module()), testing::IsEmpty()); });
}

class PrintsTable : public testing::Environment {
  public:
    void TearDown() override { print_table(); }
};
const auto* const printer = testing::AddGlobalTestEnvironment(new PrintsTable);

}  // namespace
