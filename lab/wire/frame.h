// The protocol between clients and the service: frames over a stream, in
// little-endian byte order.
//
// A frame is a header and a body of at most frame_limit bytes. A request and its
// answer have the same number. A Reader throws Malformed for every invalid byte;
// the connection must then be closed.
#pragma once

#include "store/fault_plan.h"
#include "store/value.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace lab {

// A request asks for an operation of the bus, a control asks for a change of the lab
// (ztsvc/control.h). Both get an answer.
enum class FrameKind : std::uint32_t { request = 1, answer = 2, alert = 3, control = 4 };

struct FrameHeader {
    std::uint32_t magic;
    std::uint32_t version;
    std::uint32_t kind;
    std::uint32_t number;
    std::uint32_t length;  // of the body, in bytes
};
static_assert(sizeof(FrameHeader) == 20);

inline constexpr std::uint32_t frame_magic = 0x424c545a;  // "ZTLB"
inline constexpr std::uint32_t frame_version = 2;
inline constexpr std::uint32_t frame_limit = 16 * 1024 * 1024;

struct Frame {
    FrameKind kind = FrameKind::request;
    std::uint32_t number = 0;
    std::vector<std::uint8_t> body;
};

// What a request asks for. The first number in its body.
enum class Operation : std::uint32_t {
    get_property = 1,
    set_property,
    get_properties,
    get_type,
    get_children,
    get_parents,
    delete_object,
    get_objects,
    query,
    invoke,
    name_of,
    // Introduces the client with its process id and program name. Returns the service's
    // process id and start time.
    process,
};

// What follows the status of an answer.
enum class Results : std::uint32_t {
    none,  // the request has failed
    present,
    withheld,  // the request has succeeded, and the fault plan keeps the results back
};

class Malformed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Writer {
  public:
    void number(std::uint32_t value) { raw(&value, sizeof value); }
    void big_number(std::uint64_t value) { raw(&value, sizeof value); }
    void flag(bool value) { number(value ? 1 : 0); }
    void results(Results value) { number(static_cast<std::uint32_t>(value)); }
    void lie(Lie value) { number(static_cast<std::uint32_t>(value)); }
    void text(const std::string& value);
    void wide(const std::wstring& value);
    void guid(const GUID& value) { raw(&value, sizeof value); }
    void object(const opal_objid& value) { raw(&value, sizeof value); }
    void objects(const std::vector<opal_objid>& values);
    void value(const Value& value);
    void set(const PropertySet& set);

    std::vector<std::uint8_t> take() { return std::move(m_bytes); }

  private:
    void raw(const void* bytes, std::size_t size);

    std::vector<std::uint8_t> m_bytes;
};

class Reader {
  public:
    explicit Reader(const std::vector<std::uint8_t>& bytes) : m_bytes(bytes) {}

    std::uint32_t number();
    std::uint64_t big_number();
    bool flag();
    Results results();
    Lie lie();
    std::string text();
    std::wstring wide();
    GUID guid();
    opal_objid object();
    std::vector<opal_objid> objects();
    Value value();
    PropertySet set();
    // Throws Malformed if bytes are left over.
    void finish() const;

  private:
    void raw(void* target, std::size_t size);
    // Reads the number of items that take at least `least` bytes each.
    std::uint32_t count(std::size_t least);
    Scalar scalar(std::uint32_t type);

    const std::vector<std::uint8_t>& m_bytes;
    std::size_t m_at = 0;
    int m_depth = 0;  // of nested property sets
};

}  // namespace lab
