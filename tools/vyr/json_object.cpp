#include "tools/vyr/json_object.h"

#include <charconv>
#include <cmath>

namespace vyr::tool {

namespace {

void append_member(std::string& members, const char* name, const std::string& value) {
    members += members.empty() ? "\n  \"" : ",\n  \"";
    members += name;
    members += "\": " + value;
}

} // namespace

JsonObject& JsonObject::add(const char* name, std::int64_t value) {
    append_member(members_, name, std::to_string(value));
    return *this;
}

JsonObject& JsonObject::add(const char* name, double value) {
    char digits[32];
    char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    append_member(members_, name, std::isfinite(value) ? std::string(&digits[0], end) : "null");
    return *this;
}

} // namespace vyr::tool
