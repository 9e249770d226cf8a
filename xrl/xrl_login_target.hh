// XrlLoginTarget: the daemon's XRL face. Each operation calls one operation of
// LoginMain and turns its outcome into an XrlCmdError. Beside that it keeps
// the set of live modules and the logging level and facility sent to them.

#ifndef LOGIN_XRL_XRL_LOGIN_TARGET_HH
#define LOGIN_XRL_XRL_LOGIN_TARGET_HH

#include <cstdint>
#include <set>
#include <string>

#include "libxorp/xlog.h"
#include "libxipc/xrl_error.hh"
#include "libxipc/xrl_std_router.hh"

#include "xrl/targets/login_base.hh"

class LoginMain;

// Values of common/0.1 get_status.
static const uint32_t LOGIN_STATUS_NOT_READY = 2;   // in-band walk running
static const uint32_t LOGIN_STATUS_READY = 3;
static const uint32_t LOGIN_STATUS_SHUTDOWN = 4;

class XrlLoginTarget : public XrlLoginTargetBase {
public:
    XrlLoginTarget(XrlStdRouter& router, LoginMain& login_main);
    ~XrlLoginTarget() override = default;

    XrlLoginTarget(const XrlLoginTarget&) = delete;
    XrlLoginTarget& operator=(const XrlLoginTarget&) = delete;

    // Asks the finder for births and deaths of every module class; always
    // true, answers are not waited for.
    bool register_all_classes();
    bool register_class_event_interest(const std::string& class_name);
    // The finder came back after a restart: asks again for every class. The
    // new finder then reports the live ones as born, so they get the level
    // and facility, and the card manager the registration for card states.
    void finder_reconnected();

    void register_class_event_interest_cb(const XrlError& error);
    void register_with_cardmgr_cb(const XrlError& error);
    void set_logging_level_cb(const XrlError& error);
    void set_logging_facility_cb(const XrlError& error, std::string module);

    // The modules told of births and not yet of deaths (for tests).
    const std::set<std::string>& modules() const { return _modules; }

    // common/0.1
    XrlCmdError get_target_name(std::string& name) override;
    XrlCmdError get_version(std::string& version) override;
    XrlCmdError get_status(uint32_t& status, std::string& reason) override;
    XrlCmdError shutdown() override;
    XrlCmdError startup() override;

    // card_manager_client/0.1
    XrlCmdError card_state_changed(const uint32_t& card,
                                   const uint32_t& state) override;

    // finder_event_observer/0.1
    XrlCmdError finder_event_observer_0_1_xrl_target_birth(
        const std::string& target_class,
        const std::string& target_instance) override;
    XrlCmdError finder_event_observer_0_1_xrl_target_death(
        const std::string& target_class,
        const std::string& target_instance) override;

    // login/0.1
    XrlCmdError set_logging_level(const std::string& level) override;
    XrlCmdError get_logging_level(std::string& level) override;
    XrlCmdError set_logging_facility(const uint32_t& facility) override;
    XrlCmdError get_logging_facility(uint32_t& facility) override;
    XrlCmdError set_login_announcement(
        const std::string& announcement) override;
    XrlCmdError delete_login_announcement(
        const std::string& announcement) override;
    XrlCmdError set_login_message(const std::string& message) override;
    XrlCmdError delete_login_message(const std::string& message) override;
    XrlCmdError create_user(const std::string& user,
                            const std::string& user_class) override;
    XrlCmdError delete_user(const std::string& user,
                            const std::string& user_class) override;
    XrlCmdError set_encrypted_password(const std::string& user,
                                       const std::string& password) override;
    XrlCmdError set_password_locked(const std::string& user,
                                    const std::string& password) override;
    XrlCmdError set_user_class(const std::string& user,
                               const std::string& user_class) override;
    XrlCmdError delete_user_class(const std::string& user,
                                  const std::string& user_class) override;
    XrlCmdError set_hostname(const std::string& hostname) override;
    XrlCmdError set_telnet_connection_limit(const uint32_t& limit) override;
    XrlCmdError set_telnet_disable(const bool& disable) override;
    XrlCmdError set_telnet_rate_limit(const uint32_t& limit) override;
    XrlCmdError set_ssh_root_login(const std::string& root_login) override;
    XrlCmdError set_ssh_protocol_version(const std::string& version) override;
    XrlCmdError set_ssh_connection_limit(const uint32_t& limit) override;
    XrlCmdError set_ssh_rate_limit(const uint32_t& limit) override;
    XrlCmdError set_ssh_disable(const bool& disable) override;
    XrlCmdError set_ntp_server(const IPv4& server) override;
    XrlCmdError delete_ntp_server(const IPv4& server) override;
    XrlCmdError set_inband_enable(const bool& enable) override;
    XrlCmdError set_syslog_host(const IPv4& host) override;
    XrlCmdError delete_syslog_host() override;
    XrlCmdError set_syslog_file(const std::string& location) override;
    XrlCmdError set_local_authentication(const bool& disable) override;
    XrlCmdError set_tacacs_disable(const bool& disable) override;
    XrlCmdError set_tacacs_enable_authorization(const bool& enable) override;
    XrlCmdError set_tacacs_enable_accounting(const bool& enable) override;
    XrlCmdError set_tacacs_server(const IPv4& server) override;
    XrlCmdError delete_tacacs_server(const IPv4& server) override;
    XrlCmdError set_tacacs_key(const std::string& key) override;
    XrlCmdError set_tacacs_auth_type(const std::string& auth_type) override;
    XrlCmdError reboot_system() override;
    XrlCmdError clear_arp(const std::string& text) override;
    XrlCmdError clear_neighbours(const std::string& text) override;
    XrlCmdError noop_operation_a() override;
    XrlCmdError clear_snmp_access_list() override;
    XrlCmdError add_snmp_access_entry(const IPv4Net& prefix) override;
    XrlCmdError delete_snmp_access_entry(const IPv4Net& prefix) override;
    XrlCmdError noop_operation_b() override;
    XrlCmdError clear_remote_access_list() override;
    XrlCmdError add_remote_access_entry_ipv4(const IPv4Net& prefix) override;
    XrlCmdError delete_remote_access_entry_ipv4(
        const IPv4Net& prefix) override;
    XrlCmdError add_remote_access_entry_ipv6(const IPv6Net& prefix) override;
    XrlCmdError delete_remote_access_entry_ipv6(
        const IPv6Net& prefix) override;
    XrlCmdError enable_remote_config() override;
    XrlCmdError disable_remote_config() override;
    XrlCmdError add_web_access_entry(const IPv4Net& prefix) override;
    XrlCmdError delete_web_access_entry(const IPv4Net& prefix) override;

private:
    LoginMain&            _login_main;
    XrlStdRouter&         _xrl_router;
    std::set<std::string> _modules;
    std::string           _logging_level;
    uint32_t              _logging_facility;
};

#endif // LOGIN_XRL_XRL_LOGIN_TARGET_HH
