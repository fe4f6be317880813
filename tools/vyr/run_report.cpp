#include "tools/vyr/run_report.h"

#include "report/report.h"

#include <stdexcept>

namespace vyr::tool {

void write_run_report(const std::string& directory, const SolveResult& result) {
    if (!mf_write_report(directory.c_str(), result.settings, result.statistics, true))
        throw std::runtime_error(directory + "/" + VERSION_STRING + ".info: the report cannot be written");
}

} // namespace vyr::tool
