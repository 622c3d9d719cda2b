#include "screenshot.h"

#include "previewprogram.h"
#include "resource.h"
#include "screenarea.h"
#include "simulatorprocess.h"

#include <stdexcept>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>

namespace ridge::test {

void takeScreenshot(const std::string& file) {
    const SimulatorProcess scanner({"--baud", "0"}, 7);
    PreviewProgram program;
    program.resize(1080, 560);
    program.press(IDC_CONNECT);
    program.awaitStatus("Connected - RS-000007 on COM7");
    program.press(IDC_CAPTURE);
    program.await("the capture is over", [&] { return program.enabled(IDC_STREAM); });
    program.press(IDC_STREAM);
    // The caption is there before the image; behind the third, the first is in sight.
    program.await("images are in sight", [&] { return program.liveImages() >= 3; });
    RECT area{};
    GetWindowRect(program.window(), &area);
    const ScreenArea picture(area);
    if (stbi_write_png(file.c_str(), picture.width(), picture.height(), 3, picture.pixels().data(),
                       0) == 0) {
        throw std::runtime_error("writing " + file + " failed");
    }
    program.askToClose();
    program.awaitEnd();
}

} // namespace ridge::test
