#pragma once

// What tests of the command use: files to read, the command itself, and matchers for what it says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "formats/json/LosslessJson.h"
#include "tests/support/MediumFiles.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace radvex::test {

using formats::Json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

} // namespace radvex::test
