#include "libxorp/timer.hh"

#include <cassert>
#include <cerrno>
#include <ctime>

// One timer. Owned by its handles through _refs; the list only points at it.
class TimerNode {
public:
    enum Kind { ONEOFF, PERIODIC, FLAG, BASIC };

    explicit TimerNode(Kind k) : _kind(k) {}
    ~TimerNode()
    {
        if (_list != nullptr) {
            if (_scheduled)
                _list->unschedule_node(this);
            _list->forget_node(this);
        }
    }

    void expire(XorpTimer& self);

    Kind _kind;
    int _refs = 0;
    TimerList* _list = nullptr;
    TimeVal _expiry;
    TimeVal _period;
    int _priority = XorpTask::PRIORITY_DEFAULT;
    uint64_t _seq = 0;
    bool _scheduled = false;
    bool _touched = false;  // scheduled or unscheduled by hand during expire()
    OneoffTimerCallback _oneoff;
    PeriodicTimerCallback _periodic;
    BasicTimerCallback _basic;
    bool* _flag = nullptr;
    bool _flag_value = true;
};

void TimerNode::expire(XorpTimer& self)
{
    _touched = false;
    switch (_kind) {
    case ONEOFF:
        errno = 0;
        _oneoff->dispatch();
        break;
    case PERIODIC: {
        errno = 0;
        bool again = _periodic->dispatch();
        // A callback that rescheduled or stopped its own timer has the last word.
        if (again && !_touched && _list != nullptr)
            _list->schedule_node(this, _expiry + _period, _priority);
        break;
    }
    case FLAG:
        *_flag = _flag_value;
        break;
    case BASIC:
        errno = 0;
        _basic->dispatch(self);
        break;
    }
}

// ---- XorpTimer -------------------------------------------------------------

XorpTimer::XorpTimer(TimerNode* n) : _node(n)
{
    if (_node != nullptr)
        _node->_refs++;
}

XorpTimer::XorpTimer(const XorpTimer& o) : XorpTimer(o._node) {}

XorpTimer& XorpTimer::operator=(const XorpTimer& o)
{
    // Read before clear(): `o` may be this very handle.
    TimerNode* n = o._node;
    if (n != nullptr)
        n->_refs++;
    clear();
    _node = n;
    return *this;
}

XorpTimer::~XorpTimer()
{
    clear();
}

void XorpTimer::clear()
{
    TimerNode* n = _node;
    _node = nullptr;
    if (n != nullptr && --n->_refs == 0)
        delete n;
}

bool XorpTimer::scheduled() const
{
    return _node != nullptr && _node->_scheduled;
}

void XorpTimer::unschedule()
{
    if (_node == nullptr)
        return;
    _node->_touched = true;
    if (_node->_scheduled && _node->_list != nullptr)
        _node->_list->unschedule_node(_node);
}

const TimeVal& XorpTimer::expiry() const
{
    assert(_node != nullptr);
    return _node->_expiry;
}

int XorpTimer::priority() const
{
    assert(_node != nullptr);
    return _node->_priority;
}

bool XorpTimer::time_remaining(TimeVal& remain) const
{
    if (!scheduled() || _node->_list == nullptr) {
        remain = TimeVal::ZERO();
        return false;
    }
    TimeVal now;
    _node->_list->current_time(now);
    remain = _node->_expiry > now ? _node->_expiry - now : TimeVal::ZERO();
    return true;
}

void XorpTimer::schedule_at(const TimeVal& when, int priority)
{
    if (_node == nullptr)
        return;
    _node->_touched = true;
    if (_node->_list != nullptr)
        _node->_list->schedule_node(_node, when, priority);
}

void XorpTimer::schedule_now(int priority)
{
    schedule_after(TimeVal::ZERO(), priority);
}

void XorpTimer::schedule_after(const TimeVal& wait, int priority)
{
    if (_node == nullptr || _node->_list == nullptr)
        return;
    TimeVal now;
    _node->_list->current_time(now);
    schedule_at(now + wait, priority);
}

void XorpTimer::schedule_after_ms(int ms, int priority)
{
    TimeVal wait;
    wait.set_ms(ms);
    schedule_after(wait, priority);
}

void XorpTimer::reschedule_after(const TimeVal& wait)
{
    assert(_node != nullptr);
    schedule_at(_node->_expiry + wait, _node->_priority);
}

void XorpTimer::reschedule_after_ms(int ms)
{
    TimeVal wait;
    wait.set_ms(ms);
    reschedule_after(wait);
}

// ---- TimerList -------------------------------------------------------------

TimerList::TimerList(ClockBase* clock) : _clock(clock)
{
    assert(_clock != nullptr);
}

TimerList::~TimerList()
{
    // Handles may outlive the list: they become inert.
    for (TimerNode* n : _nodes) {
        n->_list = nullptr;
        n->_scheduled = false;
    }
}

TimerNode* TimerList::adopt(TimerNode* n)
{
    n->_list = this;
    _nodes.insert(n);
    return n;
}

void TimerList::schedule_node(TimerNode* n, const TimeVal& when, int priority)
{
    if (n->_scheduled)
        unschedule_node(n);
    n->_expiry = when;
    n->_priority = priority;
    n->_seq = _seq++;
    n->_scheduled = true;
    _heaps[priority].insert(Key{when, n->_seq, n});
    _size++;
    if (_first_known && when < _first)
        _first = when;
}

void TimerList::unschedule_node(TimerNode* n)
{
    if (!n->_scheduled)
        return;
    auto h = _heaps.find(n->_priority);
    if (h != _heaps.end()) {
        h->second.erase(Key{n->_expiry, n->_seq, n});
        if (h->second.empty())
            _heaps.erase(h);
    }
    n->_scheduled = false;
    _size--;
    if (_first_known && n->_expiry == _first)
        _first_known = false;
}

const TimeVal& TimerList::earliest() const
{
    if (!_first_known) {
        _first = TimeVal::MAXIMUM();
        for (const auto& h : _heaps) {
            if (!h.second.empty() && h.second.begin()->expiry < _first)
                _first = h.second.begin()->expiry;
        }
        _first_known = true;
    }
    return _first;
}

XorpTimer TimerList::new_oneoff_at(const TimeVal& when, const OneoffTimerCallback& cb,
                                   int priority)
{
    TimerNode* n = adopt(new TimerNode(TimerNode::ONEOFF));
    n->_oneoff = cb;
    XorpTimer t(n);
    schedule_node(n, when, priority);
    return t;
}

XorpTimer TimerList::new_oneoff_after(const TimeVal& wait, const OneoffTimerCallback& cb,
                                      int priority)
{
    advance_time();
    TimeVal now;
    current_time(now);
    return new_oneoff_at(now + wait, cb, priority);
}

XorpTimer TimerList::new_oneoff_after_ms(int ms, const OneoffTimerCallback& cb, int priority)
{
    TimeVal wait;
    wait.set_ms(ms);
    return new_oneoff_after(wait, cb, priority);
}

XorpTimer TimerList::new_periodic(const TimeVal& wait, const PeriodicTimerCallback& cb,
                                  int priority)
{
    advance_time();
    TimeVal now;
    current_time(now);
    TimerNode* n = adopt(new TimerNode(TimerNode::PERIODIC));
    n->_periodic = cb;
    n->_period = wait;
    XorpTimer t(n);
    schedule_node(n, now + wait, priority);
    return t;
}

XorpTimer TimerList::new_periodic_ms(int ms, const PeriodicTimerCallback& cb, int priority)
{
    TimeVal wait;
    wait.set_ms(ms);
    return new_periodic(wait, cb, priority);
}

XorpTimer TimerList::set_flag_at(const TimeVal& when, bool* flag, bool to_value, int priority)
{
    TimerNode* n = adopt(new TimerNode(TimerNode::FLAG));
    n->_flag = flag;
    n->_flag_value = to_value;
    XorpTimer t(n);
    schedule_node(n, when, priority);
    return t;
}

XorpTimer TimerList::set_flag_after(const TimeVal& wait, bool* flag, bool to_value,
                                    int priority)
{
    advance_time();
    TimeVal now;
    current_time(now);
    return set_flag_at(now + wait, flag, to_value, priority);
}

XorpTimer TimerList::new_timer(const BasicTimerCallback& cb)
{
    TimerNode* n = adopt(new TimerNode(TimerNode::BASIC));
    n->_basic = cb;
    return XorpTimer(n);
}

bool TimerList::get_next_delay(TimeVal& delay) const
{
    if (_size == 0) {
        delay = TimeVal::MAXIMUM();
        return false;
    }
    const TimeVal& first = earliest();
    TimeVal now;
    _clock->current_time(now);
    delay = first > now ? first - now : TimeVal::ZERO();
    return true;
}

bool TimerList::run()
{
    advance_time();
    TimeVal now;
    current_time(now);
    if (_size == 0 || now < earliest())
        return false;
    for (auto& h : _heaps) {
        if (h.second.empty() || now < h.second.begin()->expiry)
            continue;
        TimerNode* n = h.second.begin()->node;
        unschedule_node(n);  // invalidates h
        XorpTimer keep(n);   // the callback may drop every other handle
        n->expire(keep);
        return true;
    }
    return false;
}

void TimerList::system_gettimeofday(TimeVal* tv)
{
    timeval t;
    gettimeofday(&t, nullptr);
    *tv = TimeVal(t);
}

void TimerList::system_sleep(const TimeVal& tv)
{
    timespec ts;
    tv.copy_out(ts);
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}
