#include "libxorp/timer.hh"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

// Records the order in which its callbacks ran, and how many started with errno set.
struct Recorder {
    std::vector<std::string> calls;
    int dirty = 0;

    void oneoff(std::string name) {
        dirty += errno != 0;
        calls.push_back(name);
    }
    bool periodic(std::string name) {
        oneoff(name);
        errno = EACCES;  // must not leak into the next callback
        return true;
    }
};

class TimerTest : public ::testing::Test {
protected:
    TimerTest() : list(&clock) {}
    void TearDown() override { EXPECT_EQ(0, rec.dirty) << "a callback started with errno set"; }

    // Moves virtual time on in `step`s, running what is due with errno set
    // (at most 100 callbacks a step: a timer that fires on every run ends).
    void run_for(const TimeVal& total, const TimeVal& step = TimeVal(1, 0)) {
        TimeVal end = clock.now() + total;
        while (clock.now() < end) {
            clock.advance(step);
            errno = ENOENT;
            for (int i = 0; i < 100 && list.run(); i++) {
            }
        }
    }

    XorpTimer once(const char* name, int secs, int prio = XorpTask::PRIORITY_DEFAULT) {
        return list.new_oneoff_after(TimeVal(secs, 0),
                                     callback(&rec, &Recorder::oneoff, std::string(name)), prio);
    }
    XorpTimer every(const char* name, int secs) {
        return list.new_periodic(TimeVal(secs, 0),
                                 callback(&rec, &Recorder::periodic, std::string(name)));
    }

    VirtualClock clock;
    TimerList list;
    Recorder rec;
};

TEST_F(TimerTest, PeriodicFirstFiresOnePeriodAfterCreationAndDoesNotDrift)
{
    TimeVal start = clock.now();
    XorpTimer t = every("p", 10);
    EXPECT_EQ(start + TimeVal(10, 0), t.expiry());
    EXPECT_FALSE(list.run());

    // Served 3.5 s late: the next expiry is still previous expiry + period.
    clock.advance(TimeVal(13, 500000));
    EXPECT_TRUE(list.run());
    EXPECT_EQ(start + TimeVal(20, 0), t.expiry());
    EXPECT_FALSE(list.run());
}

TEST_F(TimerTest, DroppedAndReplacedHandlesCancelTheirTimers)
{
    // A discarded return value never fires.
    once("lost", 1);
    EXPECT_TRUE(list.empty());

    XorpTimer t = once("old", 1);
    XorpTimer copy = t;  // a second handle keeps the same timer
    t = once("new", 2);
    EXPECT_EQ(2u, list.size());
    copy.clear();  // last handle of "old" gone
    EXPECT_EQ(1u, list.size());

    {
        XorpTimer scoped = every("scoped", 1);
    }
    // Assigning a handle to itself keeps it; dropping it later still cancels.
    XorpTimer self = once("self", 3);
    XorpTimer& alias = self;
    self = alias;
    EXPECT_TRUE(self.scheduled());
    self.clear();
    run_for(TimeVal(10, 0));
    EXPECT_EQ((std::vector<std::string>{"new"}), rec.calls);
}

TEST_F(TimerTest, RescheduleAndUnscheduleKeepTheHandleUsable)
{
    // A pending one-off moved from +5 s to +10 s fires once, at +10 s.
    XorpTimer t = once("o", 5);
    t.schedule_after(TimeVal(10, 0));
    EXPECT_EQ(1u, list.size());
    run_for(TimeVal(9, 0));
    EXPECT_TRUE(rec.calls.empty());
    run_for(TimeVal(11, 0));
    EXPECT_EQ((std::vector<std::string>{"o"}), rec.calls);

    // A periodic one stopped by hand waits until it is scheduled again.
    t = every("p", 10);
    t.unschedule();
    EXPECT_FALSE(t.scheduled());
    run_for(TimeVal(60, 0));
    t.schedule_after(TimeVal(5, 0));
    run_for(TimeVal(5, 0));
    EXPECT_EQ((std::vector<std::string>{"o", "p"}), rec.calls);

    XorpTimer().unschedule();  // harmless on an empty handle
}

TEST_F(TimerTest, LowerPriorityNumberFirstThenExpiryOrderOnePerRun)
{
    XorpTimer timers[] = {once("prio7", 1, XorpTask::PRIORITY_BACKGROUND), once("b", 2),
                          once("a", 1), once("c", 2), once("prio2", 2, XorpTask::PRIORITY_HIGH)};
    clock.advance(TimeVal(5, 0));
    EXPECT_TRUE(list.run());
    EXPECT_EQ((std::vector<std::string>{"prio2"}), rec.calls);
    while (list.run()) {
    }
    EXPECT_EQ((std::vector<std::string>{"prio2", "a", "b", "c", "prio7"}), rec.calls);
}

// The usual idioms: a callback re-arms its own handle by assignment, or a
// periodic one stops itself (which wins over its "true").
struct SelfHandled {
    TimerList* list;
    XorpTimer t, p;
    int runs = 0, ticks = 0;
    void step() {
        if (++runs < 4)
            t = list->new_oneoff_after(TimeVal::ZERO(), callback(this, &SelfHandled::step));
    }
    bool tick() {
        ticks++;
        p.unschedule();
        return true;
    }
};

TEST_F(TimerTest, CallbackMayReplaceOrStopItsOwnHandle)
{
    SelfHandled h;
    h.list = &list;
    h.t = list.new_oneoff_after(TimeVal::ZERO(), callback(&h, &SelfHandled::step));
    h.p = list.new_periodic(TimeVal(1, 0), callback(&h, &SelfHandled::tick));
    run_for(TimeVal(5, 0));
    EXPECT_EQ(4, h.runs);
    EXPECT_EQ(1, h.ticks);
    EXPECT_TRUE(list.empty());
}

TEST_F(TimerTest, NextDelayAndFlagTimers)
{
    TimeVal d;
    EXPECT_FALSE(list.get_next_delay(d));

    bool flag = false;
    XorpTimer f = list.set_flag_after(TimeVal(3, 0), &flag);
    ASSERT_TRUE(list.get_next_delay(d));
    EXPECT_EQ(TimeVal(3, 0), d);
    clock.advance(TimeVal(4, 0));
    ASSERT_TRUE(list.get_next_delay(d));
    EXPECT_EQ(TimeVal::ZERO(), d);  // overdue reads as zero
    EXPECT_TRUE(list.run());
    EXPECT_TRUE(flag);
}

TEST(TimerLifetime, HandlesOutliveTheirList)
{
    Recorder rec;
    XorpTimer t;
    {
        VirtualClock clock;
        TimerList list(&clock);
        t = list.new_oneoff_after(TimeVal(1, 0),
                                  callback(&rec, &Recorder::oneoff, std::string("x")));
    }
    EXPECT_FALSE(t.scheduled());
    t.unschedule();
    t.schedule_after(TimeVal(1, 0));  // does nothing, must not crash
    t.clear();
    EXPECT_TRUE(rec.calls.empty());
}

}  // namespace
