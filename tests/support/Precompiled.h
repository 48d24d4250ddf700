// What nearly every test needs, compiled once.
#pragma once

#include "engine/image/ImageSource.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>
