// The fixture of farlo.hpp's tests over the lab. A run begins without a connection.
#pragma once

#include "farlo.hpp"
#include "support/farlo_test.h"

#include <functional>

namespace support {

class HppTest : public FarloTest {
  protected:
    HppTest() { connects = false; }
    void SetUp() override;

    // Runs the body once, with a connection.
    void connected(const std::function<void(farlo::Connection&)>& body);

    // The status that a function throws; Status::success for none.
    template <class Function> static farlo::Status thrown_by(Function&& function) {
        try {
            function();
            return farlo::Status::success;
        } catch (const farlo::error& error) {
            return error.status();
        }
    }
};

}  // namespace support
