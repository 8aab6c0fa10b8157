#pragma once

#include "decoder.h"

namespace protocol {

/// The frames of @p description as a DBC file, in Latin-1 as the format has it: a message for each type, with
/// the type as its id and the payload as its data, padded to the lengths of CAN FD. Signals are called as the
/// fields' paths, with underscores. Of fields that share bits the first is given; where one field selects how
/// others are read, it is the multiplexor. What does not fit into the format is told in comments.
/// @param carModel as in Decoder
std::string writeDbc(const Description& description, int carModel = Decoder::NoCarModel);

} // namespace protocol
