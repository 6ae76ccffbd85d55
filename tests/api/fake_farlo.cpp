#include "api/fake_farlo.h"

#include <windows.h>

#include <algorithm>

namespace support {
namespace {

// Several threads may call the functions.
SRWLOCK lock = SRWLOCK_INIT;
class Hold {
  public:
    Hold() { AcquireSRWLockExclusive(&lock); }
    ~Hold() { ReleaseSRWLockExclusive(&lock); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
};

bool is_connected(opal_handle handle) {
    const Hold hold;
    const std::vector<opal_handle>& connected = fake_farlo().connected;
    return std::find(connected.begin(), connected.end(), handle) != connected.end();
}

std::uint32_t result_of(const char* name, opal_handle handle) {
    const Hold hold;
    FakeFarlo& fake = fake_farlo();
    fake.calls.push_back({name, handle});
    if (fake.losing == name) {
        fake.losing.clear();
        fake.lose();
    }
    return fake.failing == name ? fake.status : fake.others;
}

template <class First, class... Others> opal_handle handle_in(First first, Others...) {
    if constexpr (std::is_same_v<First, opal_handle>) {
        return first;
    } else {
        return nullptr;
    }
}
inline opal_handle handle_in() {
    return nullptr;
}

enum Index : int {
#define INDEX(name) index_##name,
    FARLO_EXPORTS(INDEX)
#undef INDEX
};
constexpr const char* names[] = {
#define NAME(name) #name,
    FARLO_EXPORTS(NAME)
#undef NAME
};

template <int Name, class Function> struct Fake;
template <int Name, class Result, class... Arguments> struct Fake<Name, Result (*)(Arguments...)> {
    static Result call(Arguments... arguments) {
        return static_cast<Result>(result_of(names[Name], handle_in(arguments...)));
    }
};

std::uint32_t connect(opal_handle* slot) {
    FakeFarlo& fake = fake_farlo();
    const std::uint32_t status = result_of("InitializeClusterW", *slot);
    const Hold hold;
    if (status != FARLO_SUCCESS || fake.refused != 0) {
        fake.refused -= fake.refused != 0 ? 1 : 0;
        return status != FARLO_SUCCESS ? status : FARLO_NOT_CONNECTED;
    }
    static std::uintptr_t made = 0;
    *slot = reinterpret_cast<opal_handle>(++made);
    fake.connected.push_back(*slot);
    return FARLO_SUCCESS;
}

std::uint32_t release(opal_handle handle) {
    const std::uint32_t status = result_of("UnInitializeClusterW", handle);
    const Hold hold;
    fake_farlo().released.push_back(handle);
    return status;
}

std::uint32_t plex_states(opal_handle handle, const wchar_t* /*name*/, const char* /*guid*/,
                          const wchar_t* device, std::uint32_t* count,
                          farlo_plex_state* /*plexes*/) {
    if (device == nullptr) {
        if (handle == nullptr) {
            return FARLO_NULL_HANDLE;
        }
        return is_connected(handle) ? FARLO_PROVIDER_FAILED : FARLO_NOT_CONNECTED;
    }
    *count = 0;
    return result_of("GetDgVolPlexStatesW", handle);
}

}  // namespace

int FakeFarlo::count(const std::string& name) const {
    return static_cast<int>(std::count_if(calls.begin(), calls.end(),
                                          [&](const FakeCall& call) { return call.name == name; }));
}

FakeFarlo& fake_farlo() {
    static FakeFarlo fake;
    return fake;
}

farlo_api make_fake_farlo() {
    fake_farlo() = {};
    farlo_api api;
#define FUNCTION(name) api.name = Fake<index_##name, name##_fn>::call;
    FARLO_EXPORTS(FUNCTION)
#undef FUNCTION
    api.InitializeClusterW = connect;
    api.UnInitializeClusterW = release;
    api.GetDgVolPlexStatesW = plex_states;
    return api;
}

}  // namespace support
