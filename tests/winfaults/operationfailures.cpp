#include "operationfailures.h"

#include <algorithm>
#include <map>
#include <vector>

namespace ridge::test {
namespace {

const std::vector<std::string> connecting{"Timeout retrieving device information.",
                                          "Timeout retrieving device settings."};

/// A function that changes what the scanner says about itself reads that anew.
std::vector<std::string> thenInformation(const std::string& text) {
    return {text, "Timeout retrieving device information."};
}

const std::map<std::string, std::vector<std::string>>& timeouts() {
    static const std::map<std::string, std::vector<std::string>> all{
        {"ridgeConnect", connecting},
        {"ridgeConnectCOM", connecting},
        {"ridgeSettingsSet", {"Timeout updating device settings."}},
        {"capture",
         {"Timeout starting capture.", "Timeout checking for capture result.",
          "Timeout stoping capture."}},
        {"host-assisted capture",
         {"Timeout starting host assisted capture.", "Timeout checking for stream data.",
          "Timeout retrieving stream data.", "Timeout pinging device.",
          "Timeout sending host assisted capture result.", "Timeout checking for capture result.",
          "Timeout stoping capture."}},
        {"stream",
         {"Timeout starting capture in streaming mode.", "Timeout checking for stream data.",
          "Timeout retrieving stream data.", "Timeout stoping capture."}},
        {"ridgeDeviceSecuritySetKey", thenInformation("Timeout setting device key.")},
        {"ridgeDeviceSecurityClearKey", thenInformation("Timeout clearing device key.")},
        {"ridgeDeviceSecurityCertSet", thenInformation("Timeout setting certificate.")},
        {"ridgeDeviceSecurityCertGet", {"Timeout retrieving certificate from device."}},
        {"ridgeDeviceSecurityCertClear", thenInformation("Timeout clearing certificate and keys.")},
        {"signing request", {"Timeout creating CSR."}}};
    return all;
}

} // namespace

bool sendsCommands(const std::string& operation) {
    return timeouts().contains(operation);
}

bool isTimeoutOf(const std::string& operation, const std::string& text) {
    const auto found = timeouts().find(operation);
    return found != timeouts().end() &&
           std::find(found->second.begin(), found->second.end(), text) != found->second.end();
}

std::string_view failedPortReport(const std::string& operation) {
    constexpr std::string_view byWorker = "Serial port error. ";
    constexpr std::string_view byCall = "Serial port error detected. ";
    static const std::map<std::string, std::string_view> all{
        {"capture", byWorker},
        {"host-assisted capture", byWorker},
        {"stream", byWorker},
        {"ridgeGetInfo", byCall},
        {"ridgeSettingsSet", byCall},
        {"ridgeStartCapture", byCall},
        {"ridgeStartHostAssistedCapture", byCall},
        {"ridgeStartStream", byCall},
        {"ridgeDeviceSecuritySetKey", byCall},
        {"ridgeDeviceSecurityClearKey", byCall},
        {"ridgeDeviceSecurityCertSet", byCall},
        {"ridgeDeviceSecurityCertGet", byCall},
        {"ridgeDeviceSecurityCertClear", byCall},
        {"ridgeDeviceSecurityCreateCsr", byCall}};
    const auto found = all.find(operation);
    return found == all.end() ? std::string_view() : found->second;
}

} // namespace ridge::test
