// Entry of the sandboxed daemon tests: the log set up as main() does, so
// that log calls are written and can be collected.

#include <gtest/gtest.h>

#include "libxorp/xlog.h"

int
main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    xlog_init(argv[0], NULL);
    xlog_set_verbose(XLOG_VERBOSE_LOW);
    xlog_add_default_output();
    xlog_start();
    int result = RUN_ALL_TESTS();
    xlog_stop();
    xlog_exit();
    return result;
}
