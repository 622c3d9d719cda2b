#include "commandline.h"

#include "commanderror.h"
#include "contrast.h"
#include "utf8path.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <sstream>
#include <utility>

namespace ridge::tool {
namespace {

constexpr auto exitStatusHelp =
    "Exit status:\n"
    "  0    success\n"
    "  1    wrong option, a file or folder that cannot be used, or several"
    " scanners\n"
    "       to choose from; the scanner is left alone\n"
    "  2    no such scanner is attached, or the library or the scanner"
    " reported a\n"
    "       failure\n"
    "  3    no image: no finger came, or no image was good enough\n"
    "  4    any other failure, such as an image of an unexpected size"
    " or a full disk\n"
    "  130  interrupted with Ctrl-C";

constexpr auto programDescription = "Drives a ridge fingerprint scanner on a serial port.";

constexpr auto helpFlagHelp = "Shows this help";

constexpr auto globalOptionsHelp = "Options of all commands (see ridge --help): --json, --log\n\n";

constexpr auto scannerChoiceHelp =
    "Neither --port nor --serial is needed when exactly one scanner is attached.\n\n";

const std::map<std::string, std::int32_t>& logLevels() {
    static const std::map<std::string, std::int32_t> levels{
        {"debug", 'D'}, {"info", 'I'}, {"warning", 'W'}, {"error", 'E'}};
    return levels;
}

/// The options as the parser stores them; names of files become paths afterwards.
struct Arguments {
    bool json = false;
    bool version = false;
    std::string logLevel;
    InfoOptions info;
    SettingsOptions settings;
    CaptureOptions capture;
    StreamOptions stream;
    KeySetOptions keySet;
    KeyClearOptions keyClear;
    CertGetOptions certGet;
    CertSetOptions certSet;
    CertClearOptions certClear;
    CsrOptions csr;
    SelfTestOptions selfTest;
    CompletionOptions completion;
    std::string certGetOutput;
    std::string certSetFile;
    std::string csrOutput;
    std::string captureOutput;
    std::string streamDirectory;
    std::string selfTestReport = "ridge-selftest.md";
    std::string block;
    int rotation = 0;
    int option = 0;
    int finger = 0;
};

std::string notEmpty(const std::string& text) {
    return text.empty() ? "the value is empty" : "";
}

std::string withDefault(const std::string& name, std::uint32_t value) {
    return name + " (default " + std::to_string(value) + ")";
}

void addScannerChoice(CLI::App& command, ScannerChoice& scanner) {
    CLI::Option* port =
        command
            .add_option("--port", scanner.port,
                        R"(The scanner's serial port, such as COM7, COM12 or \\.\COM12)")
            ->option_text("COMn")
            ->check(notEmpty);
    command
        .add_option("--serial", scanner.serialNumber,
                    "The scanner's serial number, as ridge list shows it")
        ->option_text("S")
        ->check(notEmpty)
        ->excludes(port);
}

void addBlock(CLI::App& command, std::string& block) {
    command
        .add_option("--block", block, "File of exactly 256 bytes that are handed to the scanner")
        ->option_text("FILE")
        ->check(notEmpty);
}

struct Example {
    std::string commandLine;
    std::string explanation;
};

using Examples = std::vector<Example>;

std::string examplesHelp(const Examples& examples) {
    std::string text = "Examples:\n";
    for (const Example& example : examples) {
        text += "  " + example.commandLine + "\n      " + example.explanation + "\n";
    }
    return text + "\n";
}

CLI::App& addCommand(CLI::App& program, const std::string& name, const std::string& description,
                     const std::string& remarks, const Examples& examples) {
    CLI::App& command = *program.add_subcommand(name, description)->group("Commands");
    command.set_help_flag("-h,--help", helpFlagHelp);
    command.footer(remarks + globalOptionsHelp + examplesHelp(examples) + exitStatusHelp);
    return command;
}

void addShow(CLI::App& command, bool& show, const std::string& what) {
    command.add_flag("--show", show, what + ", as wide as the\nterminal; not with --json")
        ->option_text(" ");
}

std::string hostAssistedHelp() {
    return "In a host-assisted capture the scanner shows one image after the other, without a\n"
           "time-out, and this program accepts the first with a good contrast: the darkest tenth "
           "of\n"
           "its pixels is at least " +
           std::to_string(goodContrast) +
           " of 256 grey levels below the brightest tenth. What is\n"
           "stored is the final image that the scanner captures then.\n\n";
}

void addList(CLI::App& program) {
    addCommand(program, "list", "Lists the attached scanners.", "",
               {{"ridge list", "shows a table of them"},
                {"ridge list --json", "lists them for a script"}});
}

void addInfo(CLI::App& program, Arguments& arguments) {
    CLI::App& command =
        addCommand(program, "info", "Shows what the scanner says about itself.", scannerChoiceHelp,
                   {{"ridge info", "asks the only scanner that is attached"},
                    {"ridge info --serial RS-000007", "asks the one with that serial number"},
                    {"ridge info --port COM7 --log debug", "shows the library's log as well"}});
    addScannerChoice(command, arguments.info.scanner);
}

void addSettings(CLI::App& program, Arguments& arguments) {
    CLI::App& command =
        addCommand(program, "settings",
                   "Shows the scanner's settings, or writes them: then a new connection\n"
                   "reads and shows them.",
                   scannerChoiceHelp,
                   {{"ridge settings", "shows the settings"},
                    {"ridge settings --rotation 2 --option 1", "writes both"},
                    {"ridge settings --rotation 0", "writes one and leaves the other"}});
    addScannerChoice(command, arguments.settings.scanner);
    command.add_option("--rotation", arguments.rotation, "Rotation code of the images, 0 to 3")
        ->option_text("N")
        ->check(CLI::Range(0, 3));
    command.add_option("--option", arguments.option, "The scanner's option: 0 off, 1 on")
        ->option_text("0|1")
        ->check(CLI::Range(0, 1));
}

void addCapture(CLI::App& program, Arguments& arguments) {
    CaptureOptions& options = arguments.capture;
    CLI::App& command =
        addCommand(program, "capture",
                   "Captures one image of a finger and stores it as a PNG file (8-bit grey).",
                   scannerChoiceHelp + hostAssistedHelp(),
                   {{"ridge capture -o finger.png", "waits 10 seconds for a finger"},
                    {"ridge capture -o finger.png --show", "draws the image in the terminal, too"},
                    {"ridge capture -o left/thumb.png --finger 6 --timeout 30000",
                     "tells the scanner the finger's position and waits half a minute"},
                    {"ridge capture -o finger.png --host-assisted --attempts 5",
                     "takes the first good image of five"},
                    {"ridge capture -o finger.png --json", "tells a script about the image"}});
    addScannerChoice(command, options.scanner);
    command
        .add_option("-o,--output", arguments.captureOutput,
                    "The PNG file; missing folders are made, an older file is replaced")
        ->option_text("FILE (required)")
        ->check(notEmpty)
        ->required();
    command.add_option("--finger", arguments.finger, "Code of the finger's position, 0 to 10")
        ->option_text(withDefault("N", options.finger))
        ->check(CLI::Range(0, 10));
    CLI::Option* timeout =
        command
            .add_option("--timeout", options.timeout,
                        "How long the scanner waits for a finger, in milliseconds,\n"
                        "at most 30000; a host-assisted capture has no time-out")
            ->option_text(withDefault("MS", options.timeout))
            ->check(CLI::Range(0, 30000));
    command
        .add_option("--option", options.option,
                    "Options handed to the scanner as they are;\n"
                    "a host-assisted capture does not accept 0")
        ->option_text(withDefault("N", options.option));
    addBlock(command, arguments.block);
    addShow(command, options.show, "Draws the image on standard output");
    CLI::Option* hostAssisted = command
                                    .add_flag("--host-assisted", options.hostAssisted,
                                              "This program judges the images, see below")
                                    ->option_text(" ");
    hostAssisted->excludes(timeout);
    command
        .add_option(
            "--attempts", options.attempts,
            "How many images a host-assisted capture rejects before it\ngives up, 1 to 1000")
        ->option_text(withDefault("N", options.attempts))
        ->check(CLI::Range(1, 1000))
        ->needs(hostAssisted);
}

void addStream(CLI::App& program, Arguments& arguments) {
    CLI::App& command = addCommand(
        program, "stream",
        "Streams images and stores them as PNG files (8-bit grey): image-0001.png\nand so on.",
        scannerChoiceHelp,
        {{"ridge stream -o images --count 5", "stores images/image-0001.png to image-0005.png"},
         {"ridge stream -o images --count 20 --show", "draws each image in the terminal, too"}});
    addScannerChoice(command, arguments.stream.scanner);
    command
        .add_option("-o,--output", arguments.streamDirectory,
                    "The folder of the files; made if missing, older files are replaced")
        ->option_text("DIR (required)")
        ->check(notEmpty)
        ->required();
    command.add_option("--count", arguments.stream.count, "How many images are stored, 1 to 9999")
        ->option_text("N (required)")
        ->required()
        ->check(CLI::Range(1, 9999));
    addBlock(command, arguments.block);
    addShow(command, arguments.stream.show, "Draws each image on standard output");
}

/// A word that is a command only together with another one.
CLI::App& addGroup(CLI::App& program, const std::string& name, const std::string& description,
                   const Examples& examples) {
    CLI::App& group = addCommand(program, name, description, "", examples);
    group.get_formatter()->label("SUBCOMMAND", "COMMAND");
    group.require_subcommand(0, 1);
    return group;
}

void addOutput(CLI::App& command, std::string& file, const std::string& content) {
    command
        .add_option("-o,--output", file,
                    content + "; missing folders are made,\nan older file is replaced")
        ->option_text("FILE (required)")
        ->check(notEmpty)
        ->required();
}

void addKey(CLI::App& program, Arguments& arguments) {
    const Example setting{"ridge key set key.bin", "gives the scanner the key in the file"};
    const Example clearing{"ridge key clear", "makes it forget its key"};
    CLI::App& key =
        addGroup(program, "key", "Sets or clears the scanner's device key.", {setting, clearing});
    CLI::App& set =
        addCommand(key, "set", "Gives the scanner a device key.",
                   std::string(scannerChoiceHelp) +
                       "The key is the file's 32 bytes as they are. It is neither shown "
                       "nor logged.\n\n",
                   {setting, {"ridge key set -", "takes the key from standard input"}});
    addScannerChoice(set, arguments.keySet.scanner);
    set.add_option("FILE", arguments.keySet.file, "File of exactly 32 bytes; - for standard input")
        ->option_text("(required)")
        ->required()
        ->check(notEmpty);
    CLI::App& clear =
        addCommand(key, "clear", "Makes the scanner forget its device key.", scannerChoiceHelp,
                   {clearing, {"ridge key clear --serial RS-000007", "chooses the scanner"}});
    addScannerChoice(clear, arguments.keyClear.scanner);
}

void addCert(CLI::App& program, Arguments& arguments) {
    const Example getting{"ridge cert get -o scanner.der", "stores the scanner's certificate"};
    const Example setting{"ridge cert set scanner.der", "gives the scanner a certificate"};
    const Example clearing{"ridge cert clear", "makes it forget its certificate and keys"};
    CLI::App& cert = addGroup(program, "cert", "Reads, sets or clears the scanner's certificate.",
                              {getting, setting, clearing});
    CLI::App& get =
        addCommand(cert, "get", "Stores the scanner's certificate in a file.", scannerChoiceHelp,
                   {getting, {"ridge cert get -o scanner.der --json", "tells its size, too"}});
    addScannerChoice(get, arguments.certGet.scanner);
    addOutput(get, arguments.certGetOutput, "The certificate as the scanner has it");
    CLI::App& set =
        addCommand(cert, "set", "Gives the scanner a certificate.", scannerChoiceHelp,
                   {setting, {"ridge cert set scanner.der --port COM7", "chooses the scanner"}});
    addScannerChoice(set, arguments.certSet.scanner);
    set.add_option("FILE", arguments.certSetFile, "File of 1 to 6000 bytes, passed on as they are")
        ->option_text("(required)")
        ->required()
        ->check(notEmpty);
    CLI::App& clear =
        addCommand(cert, "clear", "Makes the scanner forget its certificate and the keys with it.",
                   scannerChoiceHelp,
                   {clearing, {"ridge cert clear --serial RS-000007", "chooses the scanner"}});
    addScannerChoice(clear, arguments.certClear.scanner);
}

void addCsr(CLI::App& program, Arguments& arguments) {
    CsrSubject& subject = arguments.csr.subject;
    CLI::App& command = addCommand(
        program, "csr",
        "Lets the scanner create a certificate signing request and stores it in\na file, as the "
        "scanner made it.",
        scannerChoiceHelp,
        {{"ridge csr --cn \"Front door\" -o door.csr", "with a common name alone"},
         {"ridge csr --cn door-7 --c DE --o \"Some Company\" --ou Access -o door.csr",
          "with more of the subject's fields"}});
    addScannerChoice(command, arguments.csr.scanner);
    command.add_option("--cn", subject.commonName, "Common name, 1 to 64 characters")
        ->option_text("NAME (required)")
        ->required();
    const auto addField = [&command](const char* name, std::string& field, const char* help) {
        command.add_option(name, field, help)->option_text("TEXT");
    };
    addField("--c", subject.country, "Country, two letters");
    addField("--l", subject.locality, "Locality, at most 128 characters");
    addField("--o", subject.organization, "Organization, at most 64 characters");
    addField("--ou", subject.organizationalUnit, "Organizational unit, at most 64 characters");
    addField("--st", subject.stateOrProvince, "State or province, at most 128 characters");
    addOutput(command, arguments.csrOutput, "The request");
}

constexpr auto selfTestHelp =
    "The test takes a person with a finger some minutes. It says what to do, goes on after a\n"
    "check that failed, and puts the scanner's settings back. Its report, a text in Markdown,\n"
    "holds the versions, each check with status, text and duration, and the library's log, but\n"
    "no image, no key and no bytes from the line. Without a person, or a terminal to press Enter\n"
    "at, it waits for nobody and fails where a finger is needed and none comes.\n\n"
    "With --with-security the scanner has neither device key nor certificate nor the keys that\n"
    "belong to it in the end.\n\n"
    "The exit status is 2 when a check failed, and 130 when the rest was skipped for Ctrl-C.\n\n";

void addSelfTest(CLI::App& program, Arguments& arguments) {
    SelfTestOptions& options = arguments.selfTest;
    CLI::App& command = addCommand(
        program, "selftest", "Tries the whole library with a scanner and writes a report.",
        std::string(scannerChoiceHelp) + selfTestHelp,
        {{"ridge selftest", "leaves its report in ridge-selftest.md"},
         {"ridge selftest -o report.md --with-unplugging", "asks for the cable to be pulled, too"},
         {"ridge selftest --with-security", "makes the scanner lose its key and certificate"},
         {"ridge selftest --yes --json", "waits for nobody; tells a script about the checks"}});
    addScannerChoice(command, options.scanner);
    command
        .add_option("-o,--output", arguments.selfTestReport,
                    "The report; missing folders are made, an older file is\nreplaced")
        ->option_text("FILE (default " + arguments.selfTestReport + ")")
        ->check(notEmpty);
    const auto addFlag = [&command](const char* name, bool& flag, const char* help) {
        command.add_flag(name, flag, help)->option_text(" ");
    };
    addFlag("--yes", options.yes, "Does not wait for Enter to be pressed");
    addFlag("--with-unplugging", options.unplugging, "Pulls the scanner's cable, too");
    addFlag("--with-security", options.security, "Sets and clears device key and certificate, too");
}

void addCompletion(CLI::App& program, Arguments& arguments) {
    CLI::App& command = addCommand(
        program, "completion", "Prints a script that lets a shell complete the program's commands.",
        "For bash:       source <(ridge completion bash)\n"
        "For PowerShell: ridge completion powershell | Out-String | Invoke-Expression\n\n",
        {{"ridge completion bash", "prints the script for bash"},
         {"ridge completion powershell", "prints the script for PowerShell"}});
    command.add_option("SHELL", arguments.completion.shell, "The shell")
        ->option_text("bash|powershell (required)")
        ->required()
        ->check(CLI::IsMember({"bash", "powershell"}));
}

void setUp(CLI::App& program, Arguments& arguments) {
    program.get_formatter()->column_width(34);
    program.get_formatter()->label("SUBCOMMAND", "COMMAND");
    program.set_help_flag("-h,--help", helpFlagHelp);
    program.fallthrough();
    program.require_subcommand(0, 1);
    program.footer("ridge COMMAND --help shows a command's options and examples.\n\n" +
                   examplesHelp({{"ridge list", "shows the scanners that are attached"},
                                 {"ridge capture -o finger.png", "captures an image of a finger"},
                                 {"ridge selftest", "tries the library with a scanner"},
                                 {"ridge --version", "shows the versions"}}) +
                   exitStatusHelp);
    program.add_flag("--version", arguments.version,
                     "Shows the versions of this program and of the library, and the\n"
                     "scanners that it was built for");
    program.add_flag("--json", arguments.json,
                     "Writes the result, or the failure, to standard output as\n"
                     "one JSON object");
    program
        .add_option("--log", arguments.logLevel,
                    "Shows the library's log on standard error from a level on")
        ->option_text("debug|info|warning|error")
        ->check(CLI::IsMember(logLevels()));
    addList(program);
    addInfo(program, arguments);
    addSettings(program, arguments);
    addCapture(program, arguments);
    addStream(program, arguments);
    addKey(program, arguments);
    addCert(program, arguments);
    addCsr(program, arguments);
    addSelfTest(program, arguments);
    addCompletion(program, arguments);
}

/// The command that was asked for, or the program where there is none.
const CLI::App& chosen(const CLI::App& program) {
    const CLI::App* command = &program;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
    }
    return *command;
}

/// Such as "ridge" or "ridge key set".
std::string fullName(const CLI::App& command) {
    const CLI::App* const parent = command.get_parent();
    return (parent == nullptr ? "" : fullName(*parent) + " ") + command.get_name();
}

std::string help(const CLI::App& program) {
    const CLI::App& command = chosen(program);
    return command.help(command.get_parent() == nullptr ? "" : fullName(*command.get_parent()));
}

[[noreturn]] void throwUsageError(const CLI::App& program, const std::string& text) {
    throw UsageError(text + "\nTry '" + fullName(chosen(program)) + " --help'.");
}

std::optional<std::filesystem::path> blockPath(const CLI::App& command,
                                               const Arguments& arguments) {
    if (command.count("--block") == 0) {
        return std::nullopt;
    }
    return pathFromUtf8(arguments.block);
}

SettingsOptions settingsOptions(const CLI::App& command, const Arguments& arguments) {
    SettingsOptions options = arguments.settings;
    if (command.count("--rotation") != 0) {
        options.rotation = static_cast<std::uint8_t>(arguments.rotation);
    }
    if (command.count("--option") != 0) {
        options.option = static_cast<std::uint8_t>(arguments.option);
    }
    return options;
}

CaptureOptions captureOptions(const CLI::App& command, const Arguments& arguments) {
    CaptureOptions options = arguments.capture;
    options.output = pathFromUtf8(arguments.captureOutput);
    options.finger = static_cast<std::uint8_t>(arguments.finger);
    options.block = blockPath(command, arguments);
    return options;
}

OptionModel optionModel(const CLI::Option& option) {
    OptionModel model;
    for (const std::string& name : option.get_snames()) {
        model.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        model.names.push_back("--" + name);
    }
    model.description = option.get_description();
    if (option.get_items_expected_max() == 0) {
        return model;
    }
    // What stands for the value in the help, or beside the name of a value that stands by itself.
    const std::string& text = option.get_option_text();
    const std::string notation = text.substr(0, text.find(' '));
    if (notation.find('|') != std::string::npos) {
        model.value = OptionModel::Value::choice;
        std::istringstream choices(notation);
        for (std::string choice; std::getline(choices, choice, '|');) {
            model.choices.push_back(choice);
        }
    } else if (notation == "FILE" || (model.names.empty() && option.get_name() == "FILE")) {
        model.value = OptionModel::Value::file;
    } else {
        model.value = notation == "DIR" ? OptionModel::Value::folder : OptionModel::Value::text;
    }
    return model;
}

CommandModel modelOf(const CLI::App& command) {
    CommandModel model;
    model.name = command.get_name();
    model.description = command.get_description();
    for (const CLI::Option* option : command.get_options()) {
        model.options.push_back(optionModel(*option));
    }
    for (const CLI::App* inner : command.get_subcommands([](const CLI::App*) { return true; })) {
        model.commands.push_back(modelOf(*inner));
    }
    return model;
}

StreamOptions streamOptions(const CLI::App& command, const Arguments& arguments) {
    StreamOptions options = arguments.stream;
    options.directory = pathFromUtf8(arguments.streamDirectory);
    options.block = blockPath(command, arguments);
    return options;
}

} // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    CLI::App program(programDescription, "ridge");
    Arguments parsed;
    setUp(program, parsed);
    try {
        // The parser takes its arguments from the end.
        program.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::CallForHelp&) {
        return {parsed.json, std::nullopt, HelpRequest{help(program)}};
    } catch (const CLI::ParseError& error) {
        throwUsageError(program, error.what());
    }

    CommandLine line;
    line.json = parsed.json;
    if (!parsed.logLevel.empty()) {
        line.logLevel = logLevels().at(parsed.logLevel);
    }
    const CLI::App& command = chosen(program);
    const std::string name = fullName(command);
    if (parsed.version) {
        line.command = VersionRequest{};
    } else if (name == "ridge list") {
        line.command = ListOptions{};
    } else if (name == "ridge info") {
        line.command = parsed.info;
    } else if (name == "ridge settings") {
        line.command = settingsOptions(command, parsed);
    } else if (name == "ridge capture") {
        line.command = captureOptions(command, parsed);
        if (parsed.capture.hostAssisted && parsed.capture.option == 0) {
            throwUsageError(program, "a host-assisted capture does not accept --option 0");
        }
    } else if (name == "ridge stream") {
        line.command = streamOptions(command, parsed);
    } else if (name == "ridge key set") {
        line.command = parsed.keySet;
    } else if (name == "ridge key clear") {
        line.command = parsed.keyClear;
    } else if (name == "ridge cert get") {
        parsed.certGet.output = pathFromUtf8(parsed.certGetOutput);
        line.command = parsed.certGet;
    } else if (name == "ridge cert set") {
        parsed.certSet.file = pathFromUtf8(parsed.certSetFile);
        line.command = parsed.certSet;
    } else if (name == "ridge cert clear") {
        line.command = parsed.certClear;
    } else if (name == "ridge csr") {
        parsed.csr.output = pathFromUtf8(parsed.csrOutput);
        line.command = parsed.csr;
    } else if (name == "ridge selftest") {
        parsed.selfTest.report = pathFromUtf8(parsed.selfTestReport);
        line.command = parsed.selfTest;
    } else if (name == "ridge completion") {
        line.command = parsed.completion;
    } else {
        throwUsageError(program, "a command is missing");
    }
    if (line.json && (parsed.capture.show || parsed.stream.show)) {
        throwUsageError(program, "--show does not go with --json");
    }
    return line;
}

CommandModel commandModel() {
    CLI::App program(programDescription, "ridge");
    Arguments unused;
    setUp(program, unused);
    return modelOf(program);
}

} // namespace ridge::tool
