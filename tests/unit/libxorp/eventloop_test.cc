#include "libxorp/eventloop.hh"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

struct Events {
    std::vector<std::string> seen;
    std::vector<int> errnos;  // errno at the start of each descriptor callback
    EventLoop* loop = nullptr;
    bool remove_self = false;

    void on_io(int fd, IoEventType type, std::string name) {
        errnos.push_back(errno);
        errno = EIO;  // left behind for the next callback
        char buf[64];
        if (type == IOT_READ)
            (void)!read(fd, buf, sizeof(buf));
        seen.push_back(name);
        if (remove_self)
            loop->remove_ioevent_cb(fd, type);
    }
    void on_timer(std::string name) { seen.push_back(name); }
};

class EventLoopTest : public ::testing::Test {
protected:
    EventLoopTest() : loop(&clock) {
        ev.loop = &loop;
        EXPECT_EQ(0, pipe(a));
        EXPECT_EQ(0, pipe(b));
    }
    ~EventLoopTest() override {
        for (int fd : {a[0], a[1], b[0], b[1]})
            if (fd >= 0)
                close(fd);
    }

    VirtualClock clock;
    EventLoop loop;
    Events ev;
    int a[2];
    int b[2];
};

TEST_F(EventLoopTest, ReadyDescriptorsServedByPriorityWithCleanErrnoAndRemovalHolds)
{
    ASSERT_TRUE(loop.add_ioevent_cb(a[0], IOT_READ,
                                    callback(&ev, &Events::on_io, std::string("a")), 6));
    EXPECT_FALSE(loop.add_ioevent_cb(a[0], IOT_READ,
                                     callback(&ev, &Events::on_io, std::string("dup"))));
    ASSERT_TRUE(loop.add_ioevent_cb(b[0], IOT_READ,
                                    callback(&ev, &Events::on_io, std::string("b")), 1));
    ASSERT_TRUE(loop.add_ioevent_cb(b[1], IOT_WRITE,
                                    callback(&ev, &Events::on_io, std::string("b-writable"))));
    ev.remove_self = true;
    ASSERT_EQ(1, write(a[1], "x", 1));
    ASSERT_EQ(1, write(b[1], "y", 1));
    errno = EBADF;
    loop.run();
    EXPECT_EQ((std::vector<std::string>{"b", "b-writable", "a"}), ev.seen);
    EXPECT_EQ((std::vector<int>{0, 0, 0}), ev.errnos);  // each callback starts clean

    // Every callback removed itself: more data calls nobody.
    ASSERT_EQ(1, write(a[1], "x", 1));
    loop.new_oneoff_after(TimeVal(1, 0), callback(&ev, &Events::on_timer, std::string("t")));
    XorpTimer keep = loop.new_oneoff_after(
        TimeVal(1, 0), callback(&ev, &Events::on_timer, std::string("t")));
    loop.run();
    EXPECT_EQ((std::vector<std::string>{"b", "b-writable", "a", "t"}), ev.seen);
    EXPECT_FALSE(loop.remove_ioevent_cb(a[0], IOT_READ));
    EXPECT_EQ(0u, loop.descriptor_count());
}

TEST_F(EventLoopTest, IdleLoopSleepsUntilTheNextTimerAndRunsOnePerTurn)
{
    // Under the virtual clock the wait for a far timer costs no real time.
    XorpTimer t4 = loop.new_oneoff_after(
        TimeVal(3600, 0), callback(&ev, &Events::on_timer, std::string("prio4")));
    XorpTimer t2 = loop.new_oneoff_after(
        TimeVal(3600, 0), callback(&ev, &Events::on_timer, std::string("prio2")), 2);
    TimeVal start = clock.now();
    loop.run();
    EXPECT_EQ((std::vector<std::string>{"prio2"}), ev.seen);
    EXPECT_EQ(start + TimeVal(3600, 0), clock.now());
    loop.run();
    EXPECT_EQ((std::vector<std::string>{"prio2", "prio4"}), ev.seen);
}

TEST_F(EventLoopTest, HangUpReachesTheReader)
{
    ASSERT_TRUE(loop.add_ioevent_cb(a[0], IOT_READ,
                                    callback(&ev, &Events::on_io, std::string("eof"))));
    ASSERT_TRUE(loop.add_ioevent_cb(a[0], IOT_EXCEPTION,
                                    callback(&ev, &Events::on_io, std::string("oob"))));
    close(a[1]);
    a[1] = -1;
    loop.run();
    EXPECT_EQ((std::vector<std::string>{"eof"}), ev.seen);
    EXPECT_TRUE(loop.remove_ioevent_cb(a[0]));  // both types at once
    EXPECT_EQ(0u, loop.descriptor_count());
}

}  // namespace
