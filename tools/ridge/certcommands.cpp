#include "commands.h"
#include "connecting.h"
#include "filejson.h"
#include "inputfile.h"
#include "outputfile.h"
#include "utf8path.h"

#include <cstddef>

namespace ridge::tool {

CommandResult runCertGet(const CertGetOptions& options, const ChosenScanner& scanner,
                         const CommandContext& context) {
    const std::unique_ptr<AtomicFile> file = openOutput(options.output);
    const std::vector<std::uint8_t> certificate = connectTo(scanner, context).certificate();
    if (certificate.empty()) {
        throw CommandError(ExitStatus::otherFailure, "the scanner has no certificate");
    }
    file->commit(certificate);
    CommandResult result;
    result.text = utf8FromPath(file->path()) + "\n";
    result.json["certificate"] = fileJson(file->path(), certificate.size());
    return result;
}

CommandResult runCertSet(const CertSetOptions& options, const ChosenScanner& scanner,
                         const CommandContext& context) {
    constexpr std::size_t largest = 6000;
    const std::vector<std::uint8_t> certificate =
        readInput(options.file, {"certificate", 1, largest});
    connectTo(scanner, context).setCertificate(certificate);
    CommandResult result;
    result.text = "the certificate is set\n";
    result.json["size"] = certificate.size();
    return result;
}

CommandResult runCertClear(const CertClearOptions&, const ChosenScanner& scanner,
                           const CommandContext& context) {
    connectTo(scanner, context).clearCertificate();
    CommandResult result;
    result.text = "the certificate is cleared\n";
    return result;
}

} // namespace ridge::tool
