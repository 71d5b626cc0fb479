#pragma once

#include <boost/uuid/uuid.hpp>
#include <string>

namespace velmora {

/// A universally unique identifier; comparable, hashable, printable.
using ViewerUUID = boost::uuids::uuid;

/// A fresh random UUID (version 4). Any thread.
ViewerUUID makeRandomUUID();

/// A fresh random UUID as 32 lower-case hexadecimal digits.
std::string makeRandomToken();

/// The UUID in its canonical form, 36 lower-case characters.
std::string uuidText(const ViewerUUID& uuid);

}  // namespace velmora
