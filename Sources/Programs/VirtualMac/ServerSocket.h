#pragma once

#include <filesystem>

namespace halcyra {

/// A listening Unix socket at `path`, in place of a stale one, non-blocking, with these permissions. Throws
/// `VirtualMacError`.
int makeServerSocket(const std::filesystem::path& path, int type, unsigned mode);

}  // namespace halcyra
