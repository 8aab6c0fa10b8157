#pragma once

#include "description.h"

namespace protocol {

/// A dissector in Lua that shows Wireshark the line as @p description tells: a table of its frames, and
/// behind it `dissector.lua`, which reads them. The car model is a preference of the dissector.
std::string writeDissector(const Description& description);

} // namespace protocol
