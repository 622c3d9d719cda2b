#include "reportqueue.h"

#include <utility>

namespace ridge::preview {

void ReportQueue::attach(HWND receiver, UINT messageNumber) {
    const std::lock_guard lock(mutex);
    window = receiver;
    message = messageNumber;
    if (!reports.empty()) {
        PostMessageA(window, message, 0, 0);
    }
}

void ReportQueue::post(Report report) {
    const std::lock_guard lock(mutex);
    reports.push_back(std::move(report));
    // Whoever takes the first takes the others too.
    if (reports.size() == 1 && window != nullptr) {
        PostMessageA(window, message, 0, 0);
    }
}

std::vector<Report> ReportQueue::take() {
    const std::lock_guard lock(mutex);
    return std::exchange(reports, {});
}

} // namespace ridge::preview
