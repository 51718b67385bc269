#pragma once

#include <string>

namespace DPL::dpllogger {

/// Puts the file at `path` aside: it becomes `path`.1, what had that name becomes `path`.2, and so on; at most `kept`
/// files are kept, the oldest is removed. Leaves nothing at `path`. Returns whether it could.
/// A link stays, and the file that it names is put aside.
///
/// The caller holds the lock of the file at `path`. May end at any point, with the process: the names then have a gap,
/// which the next rotation closes before anything is removed.
bool putAside(const std::string& path, unsigned kept);

}  // namespace DPL::dpllogger
