// XrlLoginTarget: one handler per XRL operation of the target "login".
//
// Handlers come in three shapes: plain (call, answer success whatever
// happened), fixed text (a LoginException becomes a fixed failure text, its
// reason dropped) and text with reason (the fixed text followed by why()).
// No handler logs a failure.

#include "core/login_module.h"

#include <cctype>

#include "libxorp/xorp.h"
#include "libxorp/xlog.h"
#include "libxorp/callback.hh"
#include "libxipc/xrl_atom.hh"
#include "libxipc/xrl_atom_list.hh"

#include "core/login_exception.hh"
#include "core/login_main.hh"
#include "xrl/interfaces/card_manager_xif.hh"
#include "xrl/interfaces/finder_event_notifier_xif.hh"
#include "xrl/interfaces/log_xif.hh"
#include "xrl/xrl_login_target.hh"

// The module classes whose births and deaths the daemon follows, to keep
// their logging level and facility in step with its own.
static const char* const module_class_names[] = {
    "rtrmgr", "card_manager", "lcmgr01", "fdb", "sif", "policy", "stat",
    "lldp", "rstp", "mstp", "snmp", "lacp", "igmpsnooping", "ipfix", "fea",
    "IGMP", "MFEA_4", "ospfv2", "ospfv3", "PIMSM_4", "rib", "ripng", "rip",
    "static_routes", "vrrp", "openvswitch", "bgp",
};

static const char FINDER_TARGET[] = "finder";
static const char CARD_MANAGER_TARGET[] = "card_manager";

// Card states that switch the job timers on and off.
static const uint32_t CARD_STATE_TIMERS_ON = 8;
static const uint32_t CARD_STATE_TIMERS_OFF = 10;

// One notifier client for the life of the process, made at first use.
static XrlFinderEventNotifierV0p1Client* finder_notifier_client = NULL;

static const XrlCmdError& _xce_ok = XrlCmdError::OKAY();

XrlLoginTarget::XrlLoginTarget(XrlStdRouter& router, LoginMain& login_main)
    : XrlLoginTargetBase(&router),
      _login_main(login_main),
      _xrl_router(router),
      _modules(),
      _logging_level("warning"),
      // Sent to modules born before the first set_logging_facility.
      _logging_facility(0)
{
}

//
// Module tracking.
//

bool
XrlLoginTarget::register_all_classes()
{
    for (size_t i = 0;
         i < sizeof(module_class_names) / sizeof(module_class_names[0]);
         i++) {
        register_class_event_interest(module_class_names[i]);
    }
    return true;
}

void
XrlLoginTarget::finder_reconnected()
{
    register_all_classes();
}

bool
XrlLoginTarget::register_class_event_interest(const string& class_name)
{
    if (finder_notifier_client == NULL)
        finder_notifier_client = new XrlFinderEventNotifierV0p1Client(
            &_xrl_router);
    return finder_notifier_client->send_register_class_event_interest(
        FINDER_TARGET, _xrl_router.instance_name(), class_name,
        callback(this, &XrlLoginTarget::register_class_event_interest_cb),
        false);
}

void
XrlLoginTarget::register_class_event_interest_cb(const XrlError& error)
{
    if (error.error_code() == XrlError::OKAY().error_code())
        return;
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", __LINE__, "xrl_login_target.cc",
             __FUNCTION__);
    xlog_error("LOGIN", where, "register class event interest failed.");
}

void
XrlLoginTarget::register_with_cardmgr_cb(const XrlError& error)
{
    if (error.error_code() == XrlError::OKAY().error_code())
        return;
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", __LINE__, "xrl_login_target.cc",
             __FUNCTION__);
    xlog_error("LOGIN", where, "Login can not register with card manager.");
}

void
XrlLoginTarget::set_logging_level_cb(const XrlError& error)
{
    if (error.error_code() == XrlError::OKAY().error_code())
        return;
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", __LINE__, "xrl_login_target.cc",
             __FUNCTION__);
    xlog_error("LOGIN", where, "send module logging level failed.");
}

void
XrlLoginTarget::set_logging_facility_cb(const XrlError& error, string module)
{
    if (error.error_code() == XrlError::OKAY().error_code())
        return;
    char where[8000];
    snprintf(where, 8000, "+%d %s %s", __LINE__, "xrl_login_target.cc",
             __FUNCTION__);
    xlog_error("LOGIN", where, "send module %s logging facility failed.",
               module.c_str());
}

//
// common/0.1
//

XrlCmdError
XrlLoginTarget::get_target_name(string& name)
{
    name = "login";
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::get_version(string& version)
{
    version = "0.1";
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::get_status(uint32_t& status, string& reason)
{
    if (_login_main.is_running()) {
        status = LOGIN_STATUS_READY;
        reason = "running";
    } else {
        status = LOGIN_STATUS_SHUTDOWN;
        reason = "dying";
    }
    // The in-band walk is reported whatever the running state.
    if (!_login_main.is_inband_walk_idle()) {
        status = LOGIN_STATUS_NOT_READY;
        reason = "Inband Eventloop";
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::shutdown()
{
    _login_main.shutdown();
    return _xce_ok;
}

// The daemon serves from the moment it registers; the router manager's
// start-up call only learns that it may send the configuration.
XrlCmdError
XrlLoginTarget::startup()
{
    return _xce_ok;
}

//
// card_manager_client/0.1
//

XrlCmdError
XrlLoginTarget::card_state_changed(const uint32_t& card, const uint32_t& state)
{
    UNUSED(card);
    if (state == CARD_STATE_TIMERS_ON)
        _login_main.set_timers_enable(true);
    else if (state == CARD_STATE_TIMERS_OFF)
        _login_main.set_timers_enable(false);
    return _xce_ok;
}

//
// finder_event_observer/0.1
//

XrlCmdError
XrlLoginTarget::finder_event_observer_0_1_xrl_target_birth(
    const string& target_class, const string& target_instance)
{
    UNUSED(target_instance);

    // A class born again is brought up to date all the same.
    _modules.insert(target_class);

    XrlLogV0p1Client log_client(&_xrl_router);
    log_client.send_set_logging_level(
        target_class.c_str(), _logging_level,
        callback(this, &XrlLoginTarget::set_logging_level_cb), false);
    log_client.send_set_logging_facility(
        target_class.c_str(), _logging_facility,
        callback(this, &XrlLoginTarget::set_logging_facility_cb,
                 string(target_class)),
        false);

    if (target_class == CARD_MANAGER_TARGET) {
        XrlAtomList states;
        states.append(XrlAtom(CARD_STATE_TIMERS_ON));
        states.append(XrlAtom(CARD_STATE_TIMERS_OFF));
        XrlCardManagerV0p1Client card_manager_client(&_xrl_router);
        if (!card_manager_client.send_register_card_state(
                CARD_MANAGER_TARGET, states, _xrl_router.instance_name(),
                callback(this, &XrlLoginTarget::register_with_cardmgr_cb),
                false)) {
            char where[8000];
            snprintf(where, 8000, "+%d %s %s", __LINE__,
                     "xrl_login_target.cc", __FUNCTION__);
            xlog_error("LOGIN", where,
                       "Login can not register with card manager.");
        }
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::finder_event_observer_0_1_xrl_target_death(
    const string& target_class, const string& target_instance)
{
    UNUSED(target_instance);
    _modules.erase(target_class);
    return _xce_ok;
}

//
// login/0.1: logging of the whole switch.
//

XrlCmdError
XrlLoginTarget::set_logging_level(const string& level)
{
    bool result = _login_main.set_logging_level(level);
    _logging_level = level;

    XrlLogV0p1Client log_client(&_xrl_router);
    for (set<string>::const_iterator i = _modules.begin();
         i != _modules.end(); ++i) {
        log_client.send_set_logging_level(
            i->c_str(), level,
            callback(this, &XrlLoginTarget::set_logging_level_cb), false);
    }

    if (!result)
        return XrlCmdError::COMMAND_FAILED("set logging level failed.");
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::get_logging_level(string& level)
{
    if (!_login_main.get_logging_level(level))
        return XrlCmdError::COMMAND_FAILED("get logging level failed.");
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_logging_facility(const uint32_t& facility)
{
    _logging_facility = facility;
    xlog_set_facility(facility);

    XrlLogV0p1Client log_client(&_xrl_router);
    for (set<string>::const_iterator i = _modules.begin();
         i != _modules.end(); ++i) {
        log_client.send_set_logging_facility(
            i->c_str(), facility,
            callback(this, &XrlLoginTarget::set_logging_facility_cb,
                     string(*i)),
            false);
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::get_logging_facility(uint32_t& facility)
{
    facility = _logging_facility;
    return _xce_ok;
}

//
// login/0.1: the settings of the switch.
//

XrlCmdError
XrlLoginTarget::set_login_announcement(const string& announcement)
{
    try {
        _login_main.set_login_announcement(announcement);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System login set announcement failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_login_announcement(const string& announcement)
{
    try {
        _login_main.delete_login_announcement(announcement);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System login delete announcement failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_login_message(const string& message)
{
    try {
        _login_main.set_login_message(message);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System login set message failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_login_message(const string& message)
{
    try {
        _login_main.delete_login_message(message);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System login delete message failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::create_user(const string& user, const string& user_class)
{
    try {
        _login_main.create_user(user, user_class);
    } catch (const LoginException& e) {
        return XrlCmdError::COMMAND_FAILED("Create user failed, " + e.why());
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_user(const string& user, const string& user_class)
{
    try {
        _login_main.delete_user(user, user_class);
    } catch (const LoginException& e) {
        return XrlCmdError::COMMAND_FAILED("Delete user failed, " + e.why());
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_encrypted_password(const string& user, const string& password)
{
    try {
        _login_main.set_encrypted_password(user, password);
    } catch (const LoginException& e) {
        return XrlCmdError::COMMAND_FAILED("Set password failed, " + e.why());
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_password_locked(const string& user, const string& password)
{
    try {
        _login_main.set_password_locked(user, password);
    } catch (const LoginException& e) {
        return XrlCmdError::COMMAND_FAILED("Set password failed, " + e.why());
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_user_class(const string& user, const string& user_class)
{
    try {
        _login_main.set_user_class(user, user_class);
    } catch (const LoginException& e) {
        return XrlCmdError::COMMAND_FAILED("Set user class failed, " + e.why());
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_user_class(const string& user, const string& user_class)
{
    try {
        _login_main.delete_user_class(user, user_class);
    } catch (const LoginException& e) {
        return XrlCmdError::COMMAND_FAILED("Delete user class failed, " + e.why());
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_hostname(const string& hostname)
{
    if (hostname.size() > 63) {
        return XrlCmdError::COMMAND_FAILED(
            "System set hostname failed, max length is 63.");
    }
    for (size_t i = 0; i < hostname.size(); i++) {
        unsigned char c = hostname[i];
        if (!(isalpha(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'
              || c == '_')) {
            return XrlCmdError::COMMAND_FAILED("System set hostname failed.");
        }
    }
    try {
        _login_main.set_hostname(hostname);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set hostname failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_telnet_connection_limit(const uint32_t& limit)
{
    try {
        _login_main.set_telnet_connection_limit(limit);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set telnet connection limit failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_telnet_disable(const bool& disable)
{
    try {
        _login_main.set_telnet_disable(disable);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set telnet disable failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_telnet_rate_limit(const uint32_t& limit)
{
    try {
        _login_main.set_telnet_rate_limit(limit);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set telnet rete limit failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_ssh_root_login(const string& root_login)
{
    try {
        _login_main.set_ssh_root_login(root_login);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set ssh root login failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_ssh_protocol_version(const string& version)
{
    try {
        _login_main.set_ssh_protocol_version(version);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set ssh protocol version failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_ssh_connection_limit(const uint32_t& limit)
{
    try {
        _login_main.set_ssh_connection_limit(limit);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set ssh connection limit failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_ssh_rate_limit(const uint32_t& limit)
{
    try {
        _login_main.set_ssh_rate_limit(limit);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set ssh rate limit failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_ssh_disable(const bool& disable)
{
    try {
        _login_main.set_ssh_disable(disable);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set ssh disable failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_ntp_server(const IPv4& server)
{
    try {
        _login_main.set_ntp_server(server);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set ntp server ip failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_ntp_server(const IPv4& server)
{
    try {
        _login_main.delete_ntp_server(server);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System delete ntp server ip failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_inband_enable(const bool& enable)
{
    try {
        _login_main.set_inband_enable(enable);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set inband enable failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_syslog_host(const IPv4& host)
{
    try {
        _login_main.set_syslog_host(host);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set syslog host ip failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_syslog_host()
{
    try {
        _login_main.delete_syslog_host();
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set syslog host ip failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_syslog_file(const string& location)
{
    try {
        _login_main.set_syslog_file(location);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set syslog local file position failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_local_authentication(const bool& disable)
{
    try {
        _login_main.set_local_authentication(disable);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set local authentication disable/enable failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_tacacs_disable(const bool& disable)
{
    try {
        _login_main.set_tacacs_disable(disable);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set tacacs disable/enable failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_tacacs_enable_authorization(const bool& enable)
{
    try {
        _login_main.set_tacacs_enable_authorization(enable);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set tacacs disable/enable authorization failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_tacacs_enable_accounting(const bool& enable)
{
    try {
        _login_main.set_tacacs_enable_accounting(enable);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set tacacs disable/enable accounting failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_tacacs_server(const IPv4& server)
{
    try {
        _login_main.set_tacacs_server(server);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set tacacs+ server ip failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_tacacs_server(const IPv4& server)
{
    try {
        _login_main.delete_tacacs_server(server);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System delete tacacs server ip failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_tacacs_key(const string& key)
{
    try {
        _login_main.set_tacacs_key(key);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set tacacs shared key failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::set_tacacs_auth_type(const string& auth_type)
{
    try {
        _login_main.set_tacacs_auth_type(auth_type);
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set tacacs auth type failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::reboot_system()
{
    try {
        _login_main.reboot_system();
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System reboot failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::clear_arp(const string& text)
{
    _login_main.clear_arp(text);
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::clear_neighbours(const string& text)
{
    _login_main.clear_neighbours(text);
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::noop_operation_a()
{
    _login_main.noop_operation_a();
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::clear_snmp_access_list()
{
    _login_main.clear_snmp_access_list();
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::add_snmp_access_entry(const IPv4Net& prefix)
{
    _login_main.add_snmp_access_entry(prefix);
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_snmp_access_entry(const IPv4Net& prefix)
{
    _login_main.delete_snmp_access_entry(prefix);
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::noop_operation_b()
{
    _login_main.noop_operation_b();
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::clear_remote_access_list()
{
    _login_main.clear_remote_access_list();
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::add_remote_access_entry_ipv4(const IPv4Net& prefix)
{
    _login_main.add_remote_access_entry_ipv4(prefix);
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_remote_access_entry_ipv4(const IPv4Net& prefix)
{
    _login_main.delete_remote_access_entry_ipv4(prefix);
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::add_remote_access_entry_ipv6(const IPv6Net& prefix)
{
    _login_main.add_remote_access_entry_ipv6(prefix);
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_remote_access_entry_ipv6(const IPv6Net& prefix)
{
    _login_main.delete_remote_access_entry_ipv6(prefix);
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::enable_remote_config()
{
    try {
        _login_main.enable_remote_config();
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set enable remote config  failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::disable_remote_config()
{
    try {
        _login_main.disable_remote_config();
    } catch (const LoginException&) {
        return XrlCmdError::COMMAND_FAILED("System set disable remote config  failed.");
    }
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::add_web_access_entry(const IPv4Net& prefix)
{
    _login_main.add_web_access_entry(prefix);
    return _xce_ok;
}

XrlCmdError
XrlLoginTarget::delete_web_access_entry(const IPv4Net& prefix)
{
    _login_main.delete_web_access_entry(prefix);
    return _xce_ok;
}
