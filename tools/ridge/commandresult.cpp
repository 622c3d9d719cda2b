#include "commandresult.h"

namespace ridge::tool {

std::string toJsonLine(const CommandResult& result) {
    nlohmann::ordered_json json = result.json;
    json["exitStatus"] =
        static_cast<int>(result.failure ? result.failure->exitStatus() : ExitStatus::success);
    if (result.failure) {
        json["error"] = {{"text", result.failure->what()},
                         {"status", result.failure->statusOfLibrary()}};
    }
    // The scanner's texts may be anything.
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

} // namespace ridge::tool
