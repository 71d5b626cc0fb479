// Boost.JSON is used without its compiled library: this is its one translation unit.
#include <boost/json/src.hpp>
