#include "api/hpp_test.h"

#include "api/fake_farlo.h"

namespace support {

// What the C++ runtime and farlo.hpp make at their first use and keep is no leak of a test.
void HppTest::SetUp() {
    [[maybe_unused]] static const bool warm = [] {
        const farlo::Library library(make_fake_farlo());
        farlo::Connection connection(library);
        connection.on_alert([] {});
        fake_farlo().others = FARLO_NOT_FOUND;
        thrown_by([&] { connection.is_imported(L"dg"); });
        return true;
    }();
    FarloTest::SetUp();
}

void HppTest::connected(const std::function<void(farlo::Connection&)>& body) {
    once([&] {
        farlo::Connection connection(farlo::Library::load());
        body(connection);
    });
}

}  // namespace support
