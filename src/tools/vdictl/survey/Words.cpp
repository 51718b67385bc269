#include "survey/Words.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "Mappings.h"
#include "Objects.h"
#include "Processes.h"
#include "Products.h"
#include "Report.h"
#include "SharedFolder.h"
#include "Terminal.h"

namespace vdictl {

namespace {

std::string formatTime(const char* format, const std::tm& parts) {
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
}

std::string lockText(const Survey& survey, const Object& object) {
    const auto owner = survey.lockOwner(object);
    if (!owner) {
        const bool isHeld = object.mutex->state == MutexRecord::State::Held;
        return isHeld ? "held, by whom is not recorded" : std::string(nameOf(object.mutex->state));
    }
    if (owner->isDead) {
        return fmt::format("held by thread {}, dead{}", owner->thread,
                           owner->process ? "; its number is another's now" : "");
    }
    if (!owner->process) {
        return fmt::format("held by thread {} of those that count on their own", owner->thread);
    }
    return "held by " + processText(survey.process(static_cast<std::uint32_t>(*owner->process)));
}

std::string eventText(const Survey& survey, const Object& object) {
    std::string text = object.event->isSignaled ? "signalled" : "not signalled";
    text += fmt::format(", {} counted", object.event->waiters);
    if (const auto live = survey.liveWaiters(object)) {
        text += fmt::format(", {} waiting", *live);
    }
    if (object.mutex->state == MutexRecord::State::Held || object.mutex->state == MutexRecord::State::Damaged) {
        text += ", lock " + lockText(survey, object);
    }
    return text + (object.event->isSound ? "" : ", not sound");
}

std::string waiterText(const Survey& survey, const Object& object) {
    std::string text = object.waiterNumber ? fmt::format("number {}", *object.waiterNumber) : "of an unknown event";
    if (!survey.mappings.areRead) {
        return text;
    }
    const auto users = survey.usersOf(object);
    text += users.empty() ? ", mapped by none" : ", mapped by";
    for (const pid_t pid : users) {
        text += " " + processText(survey.process(static_cast<std::uint32_t>(pid)));
    }
    return text;
}

std::string agentsText(const Object& object) {
    if (object.purpose == Purpose::RunnerList) {
        const std::size_t length = listLength(object.slots);
        return fmt::format("{} {}", length, length == 1 ? "runner" : "runners");
    }
    return object.slots.empty() || object.slots.front() == 0 ? "none" : std::to_string(object.slots.front());
}

}  // namespace

std::string ageText(const std::timespec& time, const std::timespec& now) {
    const std::time_t seconds = now.tv_sec - time.tv_sec;
    if (seconds < 0) {
        return "0 s";
    }
    if (seconds < 120) {
        return fmt::format("{} s", seconds);
    }
    if (seconds < 120L * 60) {
        return fmt::format("{} min", seconds / 60);
    }
    return seconds < 48L * 3600 ? fmt::format("{} h", seconds / 3600) : fmt::format("{} d", seconds / 86400);
}

std::string localTime(const std::timespec& time) {
    std::tm parts{};
    localtime_r(&time.tv_sec, &parts);
    return formatTime("%Y-%m-%d %H:%M:%S", parts);
}

std::string utcTime(const std::timespec& time) {
    std::tm parts{};
    gmtime_r(&time.tv_sec, &parts);
    return formatTime("%Y-%m-%dT%H:%M:%S", parts) + fmt::format(".{:03}Z", time.tv_nsec / 1'000'000);
}

std::string modeText(mode_t mode) {
    return fmt::format("{:04o}", mode);
}

std::string_view nameOf(Reuse reuse) {
    constexpr std::string_view names[] = {"no", "yes", "unknown", ""};
    return names[static_cast<std::size_t>(reuse)];
}

std::string_view nameOf(MutexRecord::State state) {
    constexpr std::string_view names[] = {"blank", "free", "held", "damaged"};
    return names[static_cast<std::size_t>(state)];
}

std::string_view nameOfType(mode_t type) {
    switch (type) {
        case S_IFREG:
            return "file";
        case S_IFDIR:
            return "directory";
        case S_IFLNK:
            return "link";
        default:
            return "other";
    }
}

std::string processText(const ProcessFacts& facts) {
    const std::string name = shortName(facts.program);
    return std::to_string(facts.pid) + (name.empty() ? "" : " (" + printable(name) + ")");
}

std::string contentText(const Survey& survey, const Object& object) {
    if (!object.file.isRegular) {
        return std::string(nameOfType(object.file.type));
    }
    if (object.file.error != 0) {
        return "cannot be read: " + errorText(object.file.error);
    }
    if (object.isRecordOfAgents() && object.file.size != 0) {
        return agentsText(object);
    }
    if (object.event) {
        return eventText(survey, object);
    }
    if (object.mutex) {
        return lockText(survey, object);
    }
    return object.purpose == Purpose::Waiter ? waiterText(survey, object)
                                             : describeBytes(object.file.bytes, object.file.size);
}

}  // namespace vdictl
