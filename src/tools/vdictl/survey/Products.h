#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vdictl {

/// Client products that share objects.
struct Product {
    std::string_view name;
    std::string_view prefix;  ///< stands behind the user's id in the names of its objects
};
inline constexpr Product products[] = {{"Universal", "DEFVDI_"}, {"OrvexCrews", "CRVDI_"}, {"OrvexHuddles", "HDVDI_"}};

/// What an object is for.
enum class Purpose { Unknown, ActiveAgent, RunnerList, Guard, Mutex, Event, Waiter };

/// The word for it in tables and in JSON.
std::string_view nameOf(Purpose purpose);

/// How large such an object is; 0 for one that is unknown.
std::size_t sizeOf(Purpose purpose);

/// What is known of an object by its name alone.
struct KnownName {
    Purpose purpose = Purpose::Unknown;
    Purpose guarded = Purpose::Unknown;  ///< of a guard: what it belongs to
    std::string logicalName;
    const Product* product = nullptr;
    uid_t user = 0;
};

/// The file name of the object with a logical name: its digest in decimal.
std::string fileNameOf(std::string_view logicalName);

/// The logical name of the guard of a storage.
std::string guardNameOf(std::string_view storage, uid_t user, const Product& product);

/// Adds all names that the library and the agents derive for a user, by file name.
void addKnownNames(uid_t user, std::unordered_map<std::string, KnownName>& names);

/// Whose the object is, as far as its logical name tells: "501HDVDI_…", or the role event "501_OrvexHuddles_…". False
/// when it does not.
bool ownerFromName(std::string_view logicalName, const Product*& product, uid_t& user);

}  // namespace vdictl
