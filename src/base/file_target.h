/// What a file name stands for when it is written to.
#pragma once

#include <filesystem>
#include <optional>

namespace dravix::base {

/// The file at the end of a chain of links, also when that file does not exist yet. Only links that
/// are stored on a disk are followed. Those of /proc (which /dev/fd, /dev/stdout and a shell's
/// ">(command)" lead to) only look like links: their texts are descriptions of something open,
/// which may have no name or another one by now, and the system alone knows where they lead.
[[nodiscard]] std::filesystem::path FollowLinks(std::filesystem::path path);

/// True for a link that FollowLinks does not follow.
[[nodiscard]] bool IsLinkToOpenFile(const std::filesystem::path& path);

/// The number under which this process has opened what the path stands for; empty when it is not
/// such a path, or when the process may not write there.
[[nodiscard]] std::optional<int> OwnDescriptor(const std::filesystem::path& path);

}  // namespace dravix::base
