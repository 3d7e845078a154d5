// The logging convention: "%s(%s:%d) msg" on stderr with the source path
// relative to the project, "(%s:%d) msg" on the syslog channel at its priority.
#include "core/log.h"
#include "platform_testing.h"
#include "test_root.h"

#include <errno.h>
#include <gtest/gtest.h>

namespace {

int report_failure() {
    VLOG_ERROR("Fail to run cmd [%s], err[%d]", "sysconf", 2);
    return __LINE__ - 1;
}

}  // namespace

TEST(Log, WritesBothChannelsInTheConvention) {
    test_root root;
    testing::internal::CaptureStderr();
    int line = report_failure();
    VLOG_INFO("Lifecycle existed: %s", "x");
    std::string err = testing::internal::GetCapturedStderr();
    std::string n = std::to_string(line);
    EXPECT_EQ("report_failure(tests/log_test.cpp:" + n + ") Fail to run cmd [sysconf], err[2]\n",
              err.substr(0, err.find('\n') + 1));
    std::string syslog = root.read("/var/log/messages");
    EXPECT_EQ("<3> (report_failure:" + n + ") Fail to run cmd [sysconf], err[2]\n",
              syslog.substr(0, syslog.find('\n') + 1));
    EXPECT_NE(std::string::npos, syslog.find("<6> (TestBody:"));
}

TEST(Log, CaptureKeepsMessagesAndErrnoAndLongTexts) {
    test_root root;
    plat_test_capture_log();
    std::string long_text(3000, 'x');
    errno = ENOENT;
    VLOG_ERROR("%s", long_text.c_str());
    EXPECT_EQ(ENOENT, errno);
    vespin_perror("Fail to open");
    ASSERT_EQ(3u, plat_test_log().size());
    EXPECT_EQ(long_text, plat_test_log()[0].text);
    EXPECT_EQ("tests/log_test.cpp", plat_test_log()[0].file);
    EXPECT_EQ(PLAT_LOG_SYSLOG, plat_test_log()[1].channel);
    EXPECT_EQ(3, plat_test_log()[1].priority);
    EXPECT_EQ("Fail to open: No such file or directory", plat_test_log()[2].text);
    EXPECT_TRUE(plat_test_logged(long_text));
}
