// One flat JSON object, members in the order they are added.
#pragma once

#include <cstdint>
#include <string>

namespace vyr::tool {

class JsonObject {
public:
    JsonObject& add(const char* name, std::int64_t value);
    /// The shortest form that reads back to the same double; null when it is not finite.
    JsonObject& add(const char* name, double value);

    std::string text() const { return "{" + members_ + "\n}\n"; }

private:
    std::string members_;
};

} // namespace vyr::tool
