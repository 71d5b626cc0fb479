// Asio and Boost.JSON are used without their compiled libraries: this is their one translation
// unit.
#include <boost/asio/impl/src.hpp>
#include <boost/json/src.hpp>
