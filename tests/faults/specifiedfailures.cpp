#include "specifiedfailures.h"

#include <algorithm>
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

const std::string timeouts =
    "Timeout (retrieving device information|retrieving device settings|updating device settings|"
    "starting capture|checking for capture result|stoping capture|clearing device key|"
    "setting device key|clearing certificate and keys|retrieving certificate from device|"
    "setting certificate|creating CSR|starting host assisted capture|"
    "sending host assisted capture result|pinging device|starting capture in streaming mode|"
    "checking for stream data|retrieving stream data)\\.";

const std::string commandNames =
    "(GET DEVICE INFO|GET DEVICE SETTINGS|SET SETTINGS|START CAPTURE|STOP CAPTURE|GET CAPTURE DATA|"
    "CLEAR KEY|SET KEY|CERT CLEAR|CERT GET|CERT SET|CREATE CSR|HOST ASSISTED CAPTURE START|"
    "HOST ASSISTED CAPTURE RESULT|PING|STREAM START|GET STREAM DATA)";

} // namespace

bool isSpecifiedFailure(const ReceivedFailure& failure) {
    static const std::vector<Form> forms{
        {9, std::regex(timeouts)},
        {9, std::regex(commandNames + ": Invalid response code \\d+\\. Expected \\d+\\.")},
        {9, std::regex(commandNames + ": Missing response data")},
        {10, std::regex("Invalid (captured|stream) data length \\d+(/\\d+)?")},
        {10, std::regex("Invalid device info data\\.")},
        {10, std::regex("Invalid device settings data \\([14]\\)\\.")},
        {10, std::regex("Invalid capture data")},
        {13, std::regex(commandNames + ": Failed \\(\\d+\\) with error \\d+\\. .*")},
        {13, std::regex("Error \\d+ retrieving (capture|stream) data\\. .*")},
        {14, std::regex(commandNames + ": Invalid response type \\d+\\.")},
        {14, std::regex("Timeout waiting for capture data")},
    };
    return matches(forms, failure);
}

bool isPortFailureOrTimeout(const ReceivedFailure& failure) {
    static const std::vector<Form> forms{
        {5, std::regex("Error writing to device port\\. unplugged")},
        {5, std::regex("Serial port error( detected)?\\. unplugged")},
        {11, std::regex("Not connected\\.")},
    };
    return isTimeout(failure) || matches(forms, failure);
}

bool isTimeout(const ReceivedFailure& failure) {
    static const std::vector<Form> forms{{9, std::regex(timeouts)}};
    return matches(forms, failure);
}

} // namespace ridge::test
