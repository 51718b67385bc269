#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "doctor/Finding.h"
#include "survey/Survey.h"
#include "watch/Changes.h"

/// Makes shared files of any bytes, for tests of what reads them.
namespace arbitrary {

/// Takes numbers and texts from the front of some bytes; zeros when there are none left.
class Source {
public:
    Source(const std::uint8_t* bytes, std::size_t size) : bytes_(bytes), left_(size) {}

    std::uint8_t byte() {
        if (left_ == 0) {
            return 0;
        }
        --left_;
        return *bytes_++;
    }
    std::string text(std::size_t size) {
        std::string result(bytes_, bytes_ + std::min(size, left_));
        bytes_ += result.size();
        left_ -= result.size();
        return result;
    }
    bool isEmpty() const { return left_ == 0; }

private:
    const std::uint8_t* bytes_;
    std::size_t left_;
};

/// A name that the library derives, the name of an event or of a waiter of it, or any.
inline std::string name(Source& source, const std::vector<std::string>& known) {
    const std::uint8_t choice = source.byte();
    switch (choice % 4) {
        case 0:
        case 1:
            return known[choice % known.size()];
        case 2:
            return vdictl::fileNameOf("e" + std::to_string(choice) + "_event" + (choice > 127 ? "0" : ""));
        default:
            return source.text(choice % 24);
    }
}

inline vdictl::SharedFile file(Source& source, const std::vector<std::string>& known) {
    constexpr std::size_t sizes[] = {512, 64, 176, 48, 0, 200, 65, 511};
    vdictl::SharedFile file;
    file.name = name(source, known);
    file.isRegular = source.byte() % 16 != 0;
    file.type = file.isRegular ? S_IFREG : S_IFDIR;
    file.size = sizes[source.byte() % 8];
    file.owner = source.byte();
    file.mode = source.byte() % 2 == 0 ? 0600U : source.byte();
    file.inode = source.byte();
    file.error = source.byte() % 16 == 0 ? 13 : 0;
    if (file.isRegular && file.error == 0) {
        file.bytes = source.text(file.size);
        file.bytes.resize(source.byte() % 8 == 0 ? file.bytes.size() : file.size);
    }
    // An event's record that bears its own name.
    if (file.size == 176 && file.bytes.size() == 176 && source.byte() % 2 == 0) {
        const std::string event = "e" + std::to_string(source.byte()) + "_event";
        event.copy(&file.bytes[65], event.size());
        file.bytes[65 + event.size()] = '\0';
        file.name = vdictl::fileNameOf(event);
    }
    return file;
}

/// The names of all records that a user's agents share.
inline std::vector<std::string> knownNames(uid_t user) {
    std::unordered_map<std::string, vdictl::KnownName> names;
    vdictl::addKnownNames(user, names);
    std::vector<std::string> result;
    for (const auto& [fileName, known] : names) {
        result.push_back(fileName);
    }
    std::sort(result.begin(), result.end());
    return result;
}

/// Whether a text does nothing to a terminal but begin lines.
inline bool isPrintable(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte == '\n' || (byte >= ' ' && byte != 0x7F);
    });
}

/// All that a diagnosis says of a survey's objects.
inline std::string findingsText(const vdictl::Survey& survey) {
    std::vector<vdictl::Finding> findings;
    vdictl::findRemoved(survey, vdictl::Owner{}, findings);
    for (const vdictl::Object& object : survey.objects) {
        vdictl::findForms(object, findings);
        vdictl::findAgents(survey, object, findings);
        vdictl::findLocks(survey, object, findings);
        vdictl::findWaiters(survey, object, findings);
    }
    std::string text;
    for (const vdictl::Finding& finding : findings) {
        text += finding.kind + finding.object + finding.logicalName + finding.text + finding.advice + finding.plan;
    }
    return text;
}

/// All that is told of how one survey became another.
inline std::string changesText(const vdictl::Survey& before, const vdictl::Survey& after) {
    std::string text;
    for (const vdictl::Change& change : vdictl::changesBetween(before, after, vdictl::Owner{})) {
        text += vdictl::textOf(change) + change.program + change.object + change.logicalName;
    }
    return text;
}

/// A survey of any files, with processes mapping any of them.
inline vdictl::Survey survey(Source& source, const std::vector<std::string>& known) {
    std::vector<vdictl::SharedFile> files;
    for (std::size_t count = source.byte() % 8U + 1; count > 0 && !source.isEmpty(); --count) {
        files.push_back(file(source, known));
    }
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    vdictl::Survey survey;
    survey.objects = vdictl::identify(std::move(files), {0});
    survey.mappings.areRead = source.byte() % 4 != 0;
    for (const vdictl::Object& object : survey.objects) {
        if (source.byte() % 2 == 0) {
            survey.mappings.all.push_back({source.byte(), object.file.inode, object.file.name, source.byte() % 4 == 0});
        }
    }
    vdictl::parseMappings(source.text(64), 0x1a, 1, survey.mappings.all);
    survey.mappings.index();
    return survey;
}

}  // namespace arbitrary
