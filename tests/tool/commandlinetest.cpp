#include "commandline.h"
#include "commanderror.h"
#include "programrun.h"

#include <gtest/gtest.h>

namespace ridge::tool {
namespace {

using test::contains;

template <typename Options>
Options parsed(const std::vector<std::string>& arguments) {
    return std::get<Options>(parseCommandLine(arguments).command);
}

/// The first line of the usage error that the arguments cause; empty when they cause none.
std::string usageError(const std::vector<std::string>& arguments) {
    try {
        (void)parseCommandLine(arguments);
    } catch (const UsageError& failure) {
        const std::string text = failure.what();
        return text.substr(0, text.find('\n'));
    }
    return "";
}

std::string helpText(const std::vector<std::string>& arguments) {
    return parsed<HelpRequest>(arguments).text;
}

} // namespace

TEST(CommandLine, Port_IsTakenAsItStands) {
    EXPECT_EQ(parsed<InfoOptions>({"info", "--port", "COM7"}).scanner.port, "COM7");
    EXPECT_EQ(parsed<InfoOptions>({"info", "--port=\\\\.\\COM12"}).scanner.port, "\\\\.\\COM12");
}

TEST(CommandLine, EveryScannerCommand_TakesPortOrSerialNumberOrNeither) {
    const auto choice = [](const CommandLine& line) {
        return std::visit(
            [](const auto& options) -> ScannerChoice {
                if constexpr (requires { options.scanner; }) {
                    return options.scanner;
                }
                return {"no scanner command", "no scanner command"};
            },
            line.command);
    };
    for (const std::vector<std::string>& command : {std::vector<std::string>{"info"},
                                                    {"settings"},
                                                    {"capture", "-o", "f.png"},
                                                    {"stream", "-o", "d", "--count", "1"},
                                                    {"key", "set", "key.bin"},
                                                    {"key", "clear"},
                                                    {"cert", "get", "-o", "cert.der"},
                                                    {"cert", "set", "cert.der"},
                                                    {"cert", "clear"},
                                                    {"csr", "--cn", "Ann", "-o", "ann.csr"},
                                                    {"selftest"}}) {
        const auto with = [&](const std::vector<std::string>& more) {
            std::vector<std::string> arguments = command;
            arguments.insert(arguments.end(), more.begin(), more.end());
            return arguments;
        };
        const ScannerChoice port = choice(parseCommandLine(with({"--port", "COM7"})));
        EXPECT_EQ(port.port, "COM7");
        EXPECT_FALSE(port.serialNumber);
        const ScannerChoice serial = choice(parseCommandLine(with({"--serial", "RS-1"})));
        EXPECT_FALSE(serial.port);
        EXPECT_EQ(serial.serialNumber, "RS-1");
        const ScannerChoice neither = choice(parseCommandLine(command));
        EXPECT_FALSE(neither.port);
        EXPECT_FALSE(neither.serialNumber);
        EXPECT_NE(usageError(with({"--port", "COM7", "--serial", "RS-1"})), "");
        EXPECT_NE(usageError(with({"--serial", ""})), "");
    }
}

TEST(CommandLine, KeySet_TakesAFileOrStandardInput) {
    EXPECT_EQ(parsed<KeySetOptions>({"key", "set", "key.bin"}).file, "key.bin");
    EXPECT_EQ(parsed<KeySetOptions>({"key", "set", "-"}).file, "-");
    EXPECT_EQ(usageError({"key", "set"}), "FILE is required");
    EXPECT_NE(usageError({"key", "set", ""}), "");
    EXPECT_NE(usageError({"key", "clear", "key.bin"}), "");
}

TEST(CommandLine, Cert_TakesItsFiles) {
    EXPECT_EQ(parsed<CertGetOptions>({"cert", "get", "-o", "a.der"}).output, "a.der");
    EXPECT_EQ(parsed<CertSetOptions>({"cert", "set", "b.der"}).file, "b.der");
    EXPECT_EQ(usageError({"cert", "get"}), "--output is required");
    EXPECT_EQ(usageError({"cert", "set"}), "FILE is required");
}

TEST(CommandLine, Csr_TakesTheSubject) {
    const auto options =
        parsed<CsrOptions>({"csr", "--cn", "Ann", "--c", "DE", "--l", "Town", "--o", "Firm", "--ou",
                            "Unit", "--st", "State", "-o", "ann.csr"});
    EXPECT_EQ(options.subject.commonName, "Ann");
    EXPECT_EQ(options.subject.country, "DE");
    EXPECT_EQ(options.subject.locality, "Town");
    EXPECT_EQ(options.subject.organization, "Firm");
    EXPECT_EQ(options.subject.organizationalUnit, "Unit");
    EXPECT_EQ(options.subject.stateOrProvince, "State");
    EXPECT_EQ(options.output, "ann.csr");
    EXPECT_EQ(usageError({"csr", "-o", "ann.csr"}), "--cn is required");
    EXPECT_EQ(usageError({"csr", "--cn", "Ann"}), "--output is required");
}

TEST(CommandLine, GroupWithoutCommand_IsAnErrorThatPointsToItsHelp) {
    for (const std::string group : {"key", "cert"}) {
        try {
            (void)parseCommandLine({group});
            FAIL();
        } catch (const UsageError& failure) {
            EXPECT_TRUE(contains(failure.what(), "Try 'ridge " + group + " --help'."))
                << failure.what();
        }
        EXPECT_NE(usageError({group, "list"}), "");
    }
}

TEST(CommandLine, CommandOfAGroup_PointsToItsOwnHelp) {
    try {
        (void)parseCommandLine({"key", "set"});
        FAIL();
    } catch (const UsageError& failure) {
        EXPECT_TRUE(contains(failure.what(), "\nTry 'ridge key set --help'."));
    }
    EXPECT_TRUE(contains(helpText({"key", "set", "--help"}), "Usage: ridge key set [OPTIONS] FILE"))
        << helpText({"key", "set", "--help"});
    EXPECT_TRUE(contains(helpText({"cert", "--help"}), "\n  get"));
    EXPECT_TRUE(parseCommandLine({"cert", "clear", "--json"}).json);
}

TEST(CommandLine, List_TakesNoScanner) {
    EXPECT_TRUE(std::holds_alternative<ListOptions>(parseCommandLine({"list"}).command));
    EXPECT_TRUE(parseCommandLine({"list", "--json"}).json);
    EXPECT_NE(usageError({"list", "--port", "COM7"}), "");
}

TEST(CommandLine, Settings_WithoutValues_OnlyShows) {
    const auto options = parsed<SettingsOptions>({"settings", "--port", "COM7"});
    EXPECT_FALSE(options.rotation);
    EXPECT_FALSE(options.option);
}

TEST(CommandLine, Settings_TakesEitherValue) {
    const auto rotation =
        parsed<SettingsOptions>({"settings", "--port", "COM7", "--rotation", "3"});
    EXPECT_EQ(rotation.rotation, std::uint8_t{3});
    EXPECT_FALSE(rotation.option);
    const auto option = parsed<SettingsOptions>({"settings", "--port", "COM7", "--option", "0"});
    EXPECT_FALSE(option.rotation);
    EXPECT_EQ(option.option, std::uint8_t{0});
}

TEST(CommandLine, Capture_HasDefaults) {
    const auto options = parsed<CaptureOptions>({"capture", "--port", "COM7", "-o", "finger.png"});
    EXPECT_EQ(options.output, "finger.png");
    EXPECT_EQ(options.finger, 0);
    EXPECT_EQ(options.timeout, 10000U);
    EXPECT_EQ(options.option, 1U);
    EXPECT_FALSE(options.block);
    EXPECT_FALSE(options.hostAssisted);
    EXPECT_EQ(options.attempts, 10U);
}

TEST(CommandLine, Capture_TakesEveryOption) {
    const auto options = parsed<CaptureOptions>(
        {"capture", "--port", "COM7", "--output", "out/finger.png", "--finger", "10", "--timeout",
         "30000", "--option", "4294967295", "--block", "block.bin"});
    EXPECT_EQ(options.output, "out/finger.png");
    EXPECT_EQ(options.finger, 10);
    EXPECT_EQ(options.timeout, 30000U);
    EXPECT_EQ(options.option, 0xFFFFFFFFU);
    EXPECT_EQ(options.block, std::filesystem::path("block.bin"));
}

TEST(CommandLine, HostAssistedCapture_TakesAttempts) {
    const auto options = parsed<CaptureOptions>(
        {"capture", "--port", "COM7", "-o", "f.png", "--host-assisted", "--attempts", "3"});
    EXPECT_TRUE(options.hostAssisted);
    EXPECT_EQ(options.attempts, 3U);
}

TEST(CommandLine, Stream_TakesFolderCountAndBlock) {
    const auto options = parsed<StreamOptions>(
        {"stream", "--port", "COM7", "-o", "images", "--count", "12", "--block", "b"});
    EXPECT_EQ(options.directory, "images");
    EXPECT_EQ(options.count, 12U);
    EXPECT_EQ(options.block, std::filesystem::path("b"));
}

TEST(CommandLine, Show_IsForPeople) {
    const std::vector<std::string> capture{"capture", "-o", "f.png", "--show"};
    EXPECT_TRUE(parsed<CaptureOptions>(capture).show);
    EXPECT_FALSE(parsed<CaptureOptions>({"capture", "-o", "f.png"}).show);
    EXPECT_TRUE(parsed<StreamOptions>({"stream", "-o", "d", "--count", "1", "--show"}).show);
    EXPECT_EQ(usageError({"capture", "-o", "f.png", "--show", "--json"}),
              "--show does not go with --json");
    EXPECT_EQ(usageError({"--json", "stream", "-o", "d", "--count", "1", "--show"}),
              "--show does not go with --json");
}

TEST(CommandLine, SelfTest_DoesNoHarmUnlessTold) {
    const auto options = parsed<SelfTestOptions>({"selftest"});
    EXPECT_EQ(options.report, "ridge-selftest.md");
    EXPECT_FALSE(options.yes);
    EXPECT_FALSE(options.unplugging);
    EXPECT_FALSE(options.security);
}

TEST(CommandLine, SelfTest_TakesEveryOption) {
    const auto options = parsed<SelfTestOptions>(
        {"selftest", "-o", "r.md", "--yes", "--with-unplugging", "--with-security"});
    EXPECT_EQ(options.report, "r.md");
    EXPECT_TRUE(options.yes);
    EXPECT_TRUE(options.unplugging);
    EXPECT_TRUE(options.security);
}

TEST(CommandLine, GlobalOptions_MayStandBeforeAndAfterTheCommand) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--json", "--log", "debug", "info", "--port", "COM7"},
          {"info", "--port", "COM7", "--json", "--log", "debug"}}) {
        const CommandLine line = parseCommandLine(arguments);
        EXPECT_TRUE(line.json);
        EXPECT_EQ(line.logLevel, 'D');
        EXPECT_TRUE(std::holds_alternative<InfoOptions>(line.command));
    }
}

TEST(CommandLine, LogLevels_AreTheLibrarys) {
    for (const auto& [name, level] :
         {std::pair{"debug", 'D'}, {"info", 'I'}, {"warning", 'W'}, {"error", 'E'}}) {
        EXPECT_EQ(parseCommandLine({"--log", name, "info", "--port", "COM7"}).logLevel, level);
    }
    EXPECT_FALSE(parseCommandLine({"info", "--port", "COM7"}).logLevel);
    EXPECT_TRUE(contains(usageError({"--log", "loud", "info", "--port", "COM7"}), "--log"));
}

TEST(CommandLine, Version_NeedsNoCommand) {
    EXPECT_TRUE(std::holds_alternative<VersionRequest>(parseCommandLine({"--version"}).command));
    const CommandLine line = parseCommandLine({"--version", "--json"});
    EXPECT_TRUE(std::holds_alternative<VersionRequest>(line.command));
    EXPECT_TRUE(line.json);
}

TEST(CommandLine, Help_OfEveryCommand_ListsTheExitStatuses) {
    EXPECT_TRUE(contains(helpText({"--help"}), "Usage: ridge [OPTIONS]"));
    for (const std::string command : {"list", "info", "settings", "capture", "stream"}) {
        EXPECT_TRUE(contains(helpText({"--help"}), "\n  " + command));
        const std::string text = helpText({command, "--help"});
        EXPECT_TRUE(contains(text, "Usage: ridge " + command + " [OPTIONS]")) << text;
        EXPECT_EQ(contains(text, "--port"), command != "list");
        EXPECT_EQ(contains(text, "--serial"), command != "list");
        EXPECT_TRUE(contains(text, "Exit status:"));
        EXPECT_TRUE(contains(text, "130  interrupted"));
    }
}

TEST(CommandLine, NoCommand_IsAnError) {
    EXPECT_EQ(usageError({}), "a command is missing");
    EXPECT_EQ(usageError({"--json"}), "a command is missing");
    EXPECT_EQ(usageError({"key"}), "a command is missing");
    EXPECT_EQ(usageError({"cert", "--json"}), "a command is missing");
}

TEST(CommandLine, TwoCommands_AreAnError) {
    EXPECT_NE(usageError({"info", "--port", "COM7", "stream", "--port", "COM7", "-o", "d",
                          "--count", "1"}),
              "");
}

TEST(CommandLine, MissingRequiredOption_IsAnError) {
    EXPECT_EQ(usageError({"capture", "--port", "COM7"}), "--output is required");
    EXPECT_EQ(usageError({"stream", "--port", "COM7", "--count", "1"}), "--output is required");
    EXPECT_EQ(usageError({"stream", "--port", "COM7", "-o", "d"}), "--count is required");
}

TEST(CommandLine, EmptyValues_AreErrors) {
    EXPECT_NE(usageError({"info", "--port", ""}), "");
    EXPECT_NE(usageError({"info", "--port"}), "");
    EXPECT_NE(usageError({"capture", "--port", "COM7", "-o", ""}), "");
    EXPECT_NE(usageError({"stream", "--port", "COM7", "--count", "1", "-o", ""}), "");
    EXPECT_NE(usageError({"capture", "--port", "COM7", "-o", "f.png", "--block", ""}), "");
}

TEST(CommandLine, UnknownOptionOrCommand_IsNamed) {
    EXPECT_TRUE(contains(usageError({"info", "--port", "COM7", "--colour"}), "--colour"));
    EXPECT_TRUE(contains(usageError({"scan"}), "scan"));
    EXPECT_TRUE(contains(usageError({"key", "list"}), "list"));
}

TEST(CommandLine, ValuesOutOfRange_AreErrors) {
    const std::vector<std::string> settings{"settings", "--port", "COM7"};
    const std::vector<std::string> capture{"capture", "--port", "COM7", "-o", "f.png"};
    const std::vector<std::string> hostAssisted{"capture", "--port", "COM7",
                                                "-o",      "f.png",  "--host-assisted"};
    const std::vector<std::string> stream{"stream", "--port", "COM7", "-o", "d"};
    const auto with = [](std::vector<std::string> arguments, const std::string& option,
                         const std::string& value) {
        arguments.push_back(option);
        arguments.push_back(value);
        return usageError(arguments);
    };
    EXPECT_TRUE(contains(with(settings, "--rotation", "4"), "--rotation"));
    EXPECT_TRUE(contains(with(settings, "--rotation", "-1"), "--rotation"));
    EXPECT_TRUE(contains(with(settings, "--option", "2"), "--option"));
    EXPECT_TRUE(contains(with(capture, "--finger", "11"), "--finger"));
    EXPECT_TRUE(contains(with(capture, "--timeout", "30001"), "--timeout"));
    EXPECT_TRUE(contains(with(capture, "--timeout", "soon"), "--timeout"));
    EXPECT_TRUE(contains(with(capture, "--timeout", "-1"), "--timeout"));
    EXPECT_TRUE(contains(with(capture, "--option", "4294967296"), "--option"));
    EXPECT_TRUE(contains(with(capture, "--option", "-1"), "--option"));
    EXPECT_TRUE(contains(with(hostAssisted, "--attempts", "0"), "--attempts"));
    EXPECT_TRUE(contains(with(stream, "--count", "0"), "--count"));
    EXPECT_TRUE(contains(with(stream, "--count", "10000"), "--count"));
}

TEST(CommandLine, OptionsThatDoNotGoTogether_AreErrors) {
    const std::vector<std::string> base{"capture", "--port", "COM7", "-o", "f.png"};
    const auto with = [&](const std::vector<std::string>& more) {
        std::vector<std::string> arguments = base;
        arguments.insert(arguments.end(), more.begin(), more.end());
        return usageError(arguments);
    };
    EXPECT_NE(with({"--host-assisted", "--timeout", "1000"}), "");
    EXPECT_NE(with({"--attempts", "3"}), "");
    EXPECT_EQ(with({"--host-assisted", "--option", "0"}),
              "a host-assisted capture does not accept --option 0");
    EXPECT_EQ(with({"--option", "0"}), "");
}

TEST(CommandLine, UsageError_PointsToTheCommandsHelp) {
    try {
        (void)parseCommandLine({"capture", "--port", "COM7"});
        FAIL();
    } catch (const UsageError& failure) {
        EXPECT_TRUE(contains(failure.what(), "\nTry 'ridge capture --help'."));
        EXPECT_EQ(failure.exitStatus(), ExitStatus::usageError);
    }
}

} // namespace ridge::tool
