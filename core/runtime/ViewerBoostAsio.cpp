// Asio is used without a compiled library: this is its one translation unit.
#include <boost/asio/impl/src.hpp>
