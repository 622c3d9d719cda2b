#include "documentedfailures.h"

#include <algorithm>
#include <map>
#include <regex>
#include <string>
#include <vector>

namespace ridge::test {
namespace {

struct Form {
    std::int32_t status;
    std::regex text;
};

bool matches(const std::vector<Form>& forms, const ReceivedFailure& failure) {
    return std::any_of(forms.begin(), forms.end(), [&](const Form& form) {
        return form.status == failure.status && std::regex_match(failure.message, form.text);
    });
}

/// The failures of one command.
struct CommandFailures {
    std::vector<std::string> timeouts;
    /// Beside those that each command has.
    std::vector<Form> own = {};
};

const std::map<std::string, CommandFailures>& failuresOfCommands() {
    static const std::regex noImage("Invalid capture data");
    static const std::map<std::string, CommandFailures> failures{
        {"GET DEVICE INFO",
         {{"Timeout retrieving device information."},
          {{10, std::regex("Invalid device info data\\.")}}}},
        {"GET DEVICE SETTINGS",
         {{"Timeout retrieving device settings."},
          {{10, std::regex("Invalid device settings data \\([14]\\)\\.")}}}},
        {"SET SETTINGS", {{"Timeout updating device settings."}}},
        {"START CAPTURE", {{"Timeout starting capture."}}},
        {"STOP CAPTURE", {{"Timeout stoping capture."}}},
        {"GET CAPTURE DATA",
         {{"Timeout checking for capture result."},
          {{10, std::regex("Invalid captured data length \\d+(/\\d+)?")},
           {10, noImage},
           {13, std::regex("Error \\d+ retrieving capture data\\. .*")},
           {14, std::regex("Timeout waiting for capture data")}}}},
        {"CLEAR KEY", {{"Timeout clearing device key."}}},
        {"SET KEY", {{"Timeout setting device key."}}},
        {"CERT CLEAR", {{"Timeout clearing certificate and keys."}}},
        {"CERT GET", {{"Timeout retrieving certificate from device."}}},
        {"CERT SET", {{"Timeout setting certificate."}}},
        {"CREATE CSR", {{"Timeout creating CSR."}}},
        {"HOST ASSISTED CAPTURE START", {{"Timeout starting host assisted capture."}}},
        {"HOST ASSISTED CAPTURE RESULT", {{"Timeout sending host assisted capture result."}}},
        {"PING", {{"Timeout pinging device."}}},
        {"STREAM START", {{"Timeout starting capture in streaming mode."}}},
        {"GET STREAM DATA",
         {{"Timeout checking for stream data.", "Timeout retrieving stream data."},
          {{10, std::regex("Invalid stream data length \\d+(/\\d+)?")},
           {10, noImage},
           {13, std::regex("Error \\d+ retrieving stream data\\. .*")}}}},
    };
    return failures;
}

/// An answer is not the one to this command, or refuses it.
bool isWrongAnswer(const ReceivedFailure& failure, const std::string& command) {
    static const std::vector<Form> forms{
        {9, std::regex("Invalid response code \\d+\\. Expected \\d+\\.")},
        {9, std::regex("Missing response data")},
        {13, std::regex("Failed \\(\\d+\\) with error \\d+\\. .*")},
        {14, std::regex("Invalid response type \\d+\\.")},
    };
    const std::string beginning = command + ": ";
    return failure.message.starts_with(beginning) &&
           matches(forms, {failure.status, failure.message.substr(beginning.size())});
}

} // namespace

bool isDocumentedFailure(const ReceivedFailure& failure, const CommandNames& commands) {
    return isTimeout(failure, commands) ||
           std::any_of(commands.begin(), commands.end(), [&](const std::string& command) {
               return isWrongAnswer(failure, command) ||
                      matches(failuresOfCommands().at(command).own, failure);
           });
}

bool isPortFailure(const ReceivedFailure& failure, Teller teller) {
    const std::string& text = failure.message;
    return failure.status == RIDGE_SERIAL_PORT_ERROR &&
           (text == "Error writing to device port. unplugged" ||
            (teller == Teller::call && text == "Serial port error detected. unplugged") ||
            (teller == Teller::capture && text == "Serial port error. unplugged"));
}

bool isTimeout(const ReceivedFailure& failure, const CommandNames& commands) {
    return failure.status == RIDGE_NO_RESPONSE &&
           std::any_of(commands.begin(), commands.end(), [&](const std::string& command) {
               const auto& texts = failuresOfCommands().at(command).timeouts;
               return std::find(texts.begin(), texts.end(), failure.message) != texts.end();
           });
}

} // namespace ridge::test
