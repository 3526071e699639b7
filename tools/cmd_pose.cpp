#include "cli.hpp"
