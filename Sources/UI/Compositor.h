#pragma once

namespace halcyra {

/// Whether what a window leaves transparent shows what is behind it. Without a compositor it would be black.
bool showsTransparency();

}  // namespace halcyra
