// The fixture of the tests of the daemon's core: its code runs in the test's own process, with its paths in a
// folder of the test's own.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "tests/support/console.h"
#include "tests/support/temporary_folder.h"

class CoreTest : public testing::Test
{
  protected:
    CoreTest();

    const test_support::TemporaryFolder &folder() const { return folder_; }

    void enable_log();
    // The log since the last call, line numbers masked.
    std::string take_log() { return console_.take(); }

  private:
    test_support::TemporaryFolder folder_;
    test_support::Console console_;
};

// Bytes that the program's heap holds; 0 under a sanitizer, which has a heap of its own and reports leaks itself.
size_t heap_in_use();
