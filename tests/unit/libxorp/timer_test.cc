#include "libxorp/timer.hh"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

// Records the order in which its callbacks ran.
struct Recorder {
    std::vector<std::string> calls;
    int periodic_left = 1000;

    void oneoff(std::string name) { calls.push_back(name); }
    bool periodic(std::string name) {
        calls.push_back(name);
        return --periodic_left > 0;
    }
    int count(const std::string& name) const {
        int n = 0;
        for (const auto& c : calls)
            n += c == name;
        return n;
    }
};

class TimerTest : public ::testing::Test {
protected:
    TimerTest() : list(&clock) {}

    // Moves virtual time forward in `step` increments, running what is due.
    void run_for(const TimeVal& total, const TimeVal& step = TimeVal(1, 0)) {
        TimeVal end = clock.now() + total;
        while (clock.now() < end) {
            clock.advance(step);
            while (list.run()) {
            }
        }
    }

    VirtualClock clock;
    TimerList list;
    Recorder rec;
};

TEST_F(TimerTest, TenVirtualMinutesOfPeriodicAndOneoffTimers)
{
    XorpTimer slow = list.new_periodic(TimeVal(240, 0),
                                       callback(&rec, &Recorder::periodic, std::string("240")));
    XorpTimer fast = list.new_periodic(TimeVal(60, 0),
                                       callback(&rec, &Recorder::periodic, std::string("60")));
    XorpTimer once = list.new_oneoff_after(TimeVal(30, 0),
                                           callback(&rec, &Recorder::oneoff, std::string("once")));
    EXPECT_EQ(3u, list.size());

    run_for(TimeVal(600, 0));

    EXPECT_EQ(2, rec.count("240"));
    EXPECT_EQ(10, rec.count("60"));
    EXPECT_EQ(1, rec.count("once"));
    EXPECT_FALSE(once.scheduled());
    EXPECT_TRUE(slow.scheduled());
    EXPECT_TRUE(fast.scheduled());
}

TEST_F(TimerTest, PeriodicFirstFiresOnePeriodAfterCreationAndDoesNotDrift)
{
    TimeVal start = clock.now();
    XorpTimer t = list.new_periodic(TimeVal(10, 0),
                                    callback(&rec, &Recorder::periodic, std::string("p")));
    EXPECT_EQ(start + TimeVal(10, 0), t.expiry());
    EXPECT_FALSE(list.run());

    // Served 3.5 s late: the next expiry is still previous expiry + period.
    clock.advance(TimeVal(13, 500000));
    EXPECT_TRUE(list.run());
    EXPECT_EQ(start + TimeVal(20, 0), t.expiry());
    EXPECT_FALSE(list.run());
}

TEST_F(TimerTest, PeriodicReturningFalseEnds)
{
    rec.periodic_left = 3;
    XorpTimer t = list.new_periodic(TimeVal(5, 0),
                                    callback(&rec, &Recorder::periodic, std::string("p")));
    run_for(TimeVal(60, 0));
    EXPECT_EQ(3, rec.count("p"));
    EXPECT_FALSE(t.scheduled());
    EXPECT_TRUE(list.empty());
}

TEST_F(TimerTest, DroppedAndReplacedHandlesCancelTheirTimers)
{
    // A discarded return value never fires.
    list.new_oneoff_after(TimeVal(1, 0), callback(&rec, &Recorder::oneoff, std::string("lost")));
    EXPECT_TRUE(list.empty());

    XorpTimer t = list.new_oneoff_after(TimeVal(1, 0),
                                        callback(&rec, &Recorder::oneoff, std::string("old")));
    XorpTimer copy = t;  // a second handle keeps the same timer
    t = list.new_oneoff_after(TimeVal(2, 0),
                              callback(&rec, &Recorder::oneoff, std::string("new")));
    EXPECT_EQ(2u, list.size());
    copy.clear();  // last handle of "old" gone
    EXPECT_EQ(1u, list.size());

    {
        XorpTimer scoped = list.new_periodic(
            TimeVal(1, 0), callback(&rec, &Recorder::periodic, std::string("scoped")));
    }
    // Assigning a handle to itself keeps it; dropping it later still cancels.
    XorpTimer self = list.new_oneoff_after(
        TimeVal(3, 0), callback(&rec, &Recorder::oneoff, std::string("self")));
    XorpTimer& alias = self;
    self = alias;
    EXPECT_TRUE(self.scheduled());
    self.clear();
    run_for(TimeVal(10, 0));
    EXPECT_EQ((std::vector<std::string>{"new"}), rec.calls);
}

TEST_F(TimerTest, UnscheduleKeepsTheHandleUsable)
{
    XorpTimer t = list.new_periodic(TimeVal(10, 0),
                                    callback(&rec, &Recorder::periodic, std::string("p")));
    run_for(TimeVal(10, 0));
    ASSERT_EQ(1, rec.count("p"));

    t.unschedule();
    EXPECT_FALSE(t.scheduled());
    EXPECT_FALSE(t.is_empty());
    run_for(TimeVal(60, 0));
    EXPECT_EQ(1, rec.count("p"));

    t.schedule_after(TimeVal(5, 0));
    t.schedule_after(TimeVal(8, 0));  // moves the pending timer, never doubles it
    EXPECT_EQ(1u, list.size());
    run_for(TimeVal(8, 0));
    EXPECT_EQ(2, rec.count("p"));

    // Assigning a new timer to an unscheduled handle works as on a fresh one.
    t.unschedule();
    t = list.new_oneoff_after(TimeVal(1, 0), callback(&rec, &Recorder::oneoff, std::string("o")));
    run_for(TimeVal(20, 0));
    EXPECT_EQ(2, rec.count("p"));
    EXPECT_EQ(1, rec.count("o"));

    XorpTimer empty;
    empty.unschedule();  // harmless on an empty handle
    EXPECT_FALSE(empty.scheduled());
}

TEST_F(TimerTest, LowerPriorityNumberRunsFirstOnePerRun)
{
    XorpTimer low = list.new_oneoff_after(
        TimeVal(1, 0), callback(&rec, &Recorder::oneoff, std::string("prio7")),
        XorpTask::PRIORITY_BACKGROUND);
    XorpTimer high = list.new_oneoff_after(
        TimeVal(2, 0), callback(&rec, &Recorder::oneoff, std::string("prio2")),
        XorpTask::PRIORITY_HIGH);
    clock.advance(TimeVal(5, 0));

    EXPECT_TRUE(list.run());
    EXPECT_EQ((std::vector<std::string>{"prio2"}), rec.calls);
    EXPECT_TRUE(list.run());
    EXPECT_EQ((std::vector<std::string>{"prio2", "prio7"}), rec.calls);
    EXPECT_FALSE(list.run());
}

TEST_F(TimerTest, SamePriorityRunsInExpiryOrder)
{
    XorpTimer b = list.new_oneoff_after(TimeVal(2, 0),
                                        callback(&rec, &Recorder::oneoff, std::string("b")));
    XorpTimer a = list.new_oneoff_after(TimeVal(1, 0),
                                        callback(&rec, &Recorder::oneoff, std::string("a")));
    XorpTimer c = list.new_oneoff_after(TimeVal(2, 0),
                                        callback(&rec, &Recorder::oneoff, std::string("c")));
    clock.advance(TimeVal(3, 0));
    while (list.run()) {
    }
    EXPECT_EQ((std::vector<std::string>{"a", "b", "c"}), rec.calls);
}

struct ErrnoProbe {
    int seen = -1;
    void oneoff() { seen = errno; }
    bool periodic() {
        seen = errno;
        errno = EACCES;  // must not leak into the next callback
        return true;
    }
};

TEST_F(TimerTest, ErrnoIsZeroInsideTimerCallbacks)
{
    ErrnoProbe once, every;
    XorpTimer a = list.new_oneoff_after(TimeVal(1, 0), callback(&once, &ErrnoProbe::oneoff));
    XorpTimer b = list.new_periodic(TimeVal(2, 0), callback(&every, &ErrnoProbe::periodic));
    clock.advance(TimeVal(1, 0));
    errno = ENOENT;
    ASSERT_TRUE(list.run());
    EXPECT_EQ(0, once.seen);

    clock.advance(TimeVal(1, 0));
    errno = EPERM;
    ASSERT_TRUE(list.run());
    EXPECT_EQ(0, every.seen);
    clock.advance(TimeVal(2, 0));
    ASSERT_TRUE(list.run());
    EXPECT_EQ(0, every.seen);
}

// The usual idiom: a callback that re-arms its own handle by assignment.
struct Rearm {
    TimerList* list;
    XorpTimer t;
    int runs = 0;
    void step() {
        if (++runs < 4)
            t = list->new_oneoff_after(TimeVal::ZERO(), callback(this, &Rearm::step));
    }
};

TEST_F(TimerTest, CallbackMayReplaceItsOwnHandle)
{
    Rearm r;
    r.list = &list;
    r.t = list.new_oneoff_after(TimeVal::ZERO(), callback(&r, &Rearm::step));
    for (int i = 0; i < 10 && list.run(); i++) {
    }
    EXPECT_EQ(4, r.runs);
    EXPECT_TRUE(list.empty());
}

struct SelfStop {
    XorpTimer t;
    int runs = 0;
    bool tick() {
        runs++;
        t.unschedule();  // a stop from inside wins over the "true"
        return true;
    }
};

TEST_F(TimerTest, PeriodicCallbackMayStopItself)
{
    SelfStop s;
    s.t = list.new_periodic(TimeVal(1, 0), callback(&s, &SelfStop::tick));
    run_for(TimeVal(5, 0));
    EXPECT_EQ(1, s.runs);
    EXPECT_FALSE(s.t.scheduled());
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
