// Whose flag file switches the debug log on.
#include "core/log.h"

#include <filesystem>
#include <unistd.h>

#include "tests/core/core_test.h"
#include "tests/support/other_user.h"

using namespace test_support;

namespace
{

class LogFlagTest : public CoreTest
{
  protected:
    // Whether the log is on for a daemon that runs as `user`.
    static bool is_on_for(uid_t user)
    {
        bool on = false;
        EXPECT_TRUE(as_user(user, [&] { on = log_is_enabled(); }));
        return on;
    }

    std::filesystem::path flag() const { return folder() / "debug_wexond"; }
};

TEST_F(LogFlagTest, CountsWhereRootOrTheDaemonsOwnUserOwnsIt)
{
    NEEDS_OTHER_USERS();
    std::filesystem::permissions(folder().path(), std::filesystem::perms(0755));
    enable_log();
    EXPECT_TRUE(is_on_for(0));
    EXPECT_TRUE(is_on_for(kNobody)) << "root's";
    ASSERT_EQ(chown(flag().c_str(), kNobody, kNobody), 0);
    EXPECT_FALSE(is_on_for(0));
    EXPECT_FALSE(is_on_for(kSomebody));
    EXPECT_TRUE(is_on_for(kNobody)) << "its own";
}

// Else everybody could lay a link to something of root's.
TEST_F(LogFlagTest, ALinkIsItsOwnOwners)
{
    NEEDS_OTHER_USERS();
    std::filesystem::permissions(folder().path(), std::filesystem::perms(0755));
    std::filesystem::create_symlink("/", flag());
    EXPECT_TRUE(is_on_for(0));
    ASSERT_EQ(lchown(flag().c_str(), kNobody, kNobody), 0);
    EXPECT_FALSE(is_on_for(0));
    EXPECT_TRUE(is_on_for(kNobody));
}

} // namespace
