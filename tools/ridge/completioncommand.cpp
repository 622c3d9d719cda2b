#include "commands.h"
#include "completion.h"

namespace ridge::tool {

CommandResult runCompletion(const CompletionOptions& options) {
    const CommandModel program = commandModel();
    const bool bash = options.shell == "bash";
    CommandResult result;
    result.text = bash ? bashCompletion(program) : powershellCompletion(program);
    result.json["shell"] = options.shell;
    result.json["script"] = result.text;
    return result;
}

} // namespace ridge::tool
