// LoginMain: every setting the daemon has applied, and the operations that
// apply them. The operations are defined in the folder of their subsystem:
// core/ (process-wide), accounts/, access/, auth/ and system/.

#ifndef LOGIN_CORE_LOGIN_MAIN_HH
#define LOGIN_CORE_LOGIN_MAIN_HH

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <netinet/in.h>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "libxorp/ipv4.hh"
#include "libxorp/ipv4net.hh"
#include "libxorp/ipv6net.hh"
#include "libxorp/timer.hh"

#include "core/login_exception.hh"

class TacLivePass;
class XrlStdRouter;

class LoginMain {
public:
    explicit LoginMain(XrlStdRouter& router);
    ~LoginMain();

    LoginMain(const LoginMain&) = delete;
    LoginMain& operator=(const LoginMain&) = delete;

    // Process-wide (core/login_main.cc).
    bool is_running() const { return _is_running; }
    void shutdown();
    bool is_inband_walk_idle() const { return _inband_pending.empty(); }
    bool set_logging_level(const std::string& level);
    bool get_logging_level(std::string& level);

    // Card state and job timers (core/timers.cc).
    void set_timers_enable(bool enable);

    // Account names and look-ups (accounts/).
    bool is_valid_user_name(const char* name);
    void validate_user_name(const std::string& name);
    bool user_exists(const std::string& name);
    bool get_user_gid(const std::string& name, uint32_t& gid);
    bool is_user_in_xorp_group(const std::string& name);
    static char* read_line(FILE* stream, unsigned& length);

    // Shadow file editor (accounts/).
    void rewrite_shadow_password(const std::string& user,
                                 const std::string& field);
    void read_shadow_password(const std::string& user, std::string& field);
    // At start: removes /etc/shadow+ left by an editor that died.
    void clear_stale_shadow_work_file();
    // The copy step of the rewrite, on any two streams: 0, or the errno of
    // the first read or write failure.
    static int copy_shadow_lines(FILE* from, FILE* to,
                                 const std::string& user,
                                 const std::string& field);
    void set_encrypted_password(const std::string& user,
                                const std::string& password);
    void set_password_locked(const std::string& user,
                             const std::string& password);

    // User lifecycle (accounts/).
    void create_user(const std::string& user, const std::string& user_class);
    void delete_user(const std::string& user, const std::string& user_class);
    void set_user_class(const std::string& user,
                        const std::string& user_class);
    void delete_user_class(const std::string& user,
                           const std::string& user_class);
    // A class move: the account deleted and made again in the class, with
    // `field` (null: no shadow line to carry) as its password field and the
    // home of the old ids given to the new ones.
    void remake_account(const std::string& user, bool super_user,
                        uid_t old_uid, gid_t old_gid,
                        const std::string* field);
    // The record of a move under way (accounts/class_move.cc); the start of
    // the daemon finishes a move left in it.
    void save_class_move(const std::string& user, bool super_user,
                         uid_t old_uid, gid_t old_gid,
                         const std::string* field);
    void end_class_move();
    void finish_class_move();

    // Host name and login banners (system/).
    void set_login_announcement(const std::string& announcement);
    void delete_login_announcement(const std::string& announcement);
    void set_login_message(const std::string& message);
    void delete_login_message(const std::string& message);
    void set_hostname(const std::string& hostname);

    // Telnet and SSH services (access/).
    void set_telnet_connection_limit(const uint32_t& limit);
    void set_telnet_disable(const bool& disable);
    void set_ssh_root_login(const std::string& root_login);
    void set_ssh_protocol_version(const std::string& version);
    void set_ssh_disable(const bool& disable);

    // Connection and rate limits (access/).
    void set_telnet_rate_limit(const uint32_t& limit);
    void set_ssh_rate_limit(const uint32_t& limit);
    void set_ssh_connection_limit(const uint32_t& limit);

    // NTP, syslog, one-shot operations (system/).
    void set_ntp_server(const IPv4& server);
    void delete_ntp_server(const IPv4& server);
    void set_syslog_host(const IPv4& host);
    void delete_syslog_host();
    void set_syslog_file(const std::string& location);
    void reboot_system();
    int clear_arp(const std::string& text);
    int clear_neighbours(const std::string& text);
    void noop_operation_a();
    void noop_operation_b();

    // In-band lockdown (access/).
    void set_inband_enable(const bool& enable);
    void inband_walk_step();

    // TACACS+ and local authentication (auth/).
    void set_local_authentication(const bool& disable);
    void set_tacacs_disable(const bool& disable);
    void set_tacacs_enable_authorization(const bool& enable);
    void set_tacacs_enable_accounting(const bool& enable);
    void set_tacacs_server(const IPv4& server);
    void delete_tacacs_server(const IPv4& server);
    void set_tacacs_key(const std::string& key);
    void set_tacacs_auth_type(const std::string& auth_type);
    // Starts a liveness pass on the loop, or one more after the pass under
    // way; the file is written when it ends. Always true: a periodic timer
    // with this body never ends.
    bool tac_live();
    bool tac_pass_running() const;

    // Management access lists (access/).
    void clear_snmp_access_list();
    void add_snmp_access_entry(const IPv4Net& prefix);
    void delete_snmp_access_entry(const IPv4Net& prefix);
    void clear_remote_access_list();
    void add_remote_access_entry_ipv4(const IPv4Net& prefix);
    void delete_remote_access_entry_ipv4(const IPv4Net& prefix);
    void add_remote_access_entry_ipv6(const IPv6Net& prefix);
    void delete_remote_access_entry_ipv6(const IPv6Net& prefix);
    void add_web_access_entry(const IPv4Net& prefix);
    void delete_web_access_entry(const IPv4Net& prefix);

    // Remote configuration agent (access/).
    void enable_remote_config();
    void disable_remote_config();

    // Periodic job bodies (system/).
    bool fan_job();
    void rpsu_job();
    bool syslog_info_job();
    bool temperature_job();

private:
    void tac_live_done();
    void write_live_servers_if_changed();

    bool                  _is_running;
    XrlStdRouter&         _xrl_router;
    std::string           _syslog_file;
    std::string           _syslog_host;
    std::set<std::string> _tacacs_servers;
    std::set<std::string> _tacacs_live_servers;
    XorpTimer             _tac_live_timer;
    XorpTimer             _fan_timer;
    XorpTimer             _rpsu_timer;
    XorpTimer             _syslog_info_timer;
    XorpTimer             _temperature_timer;
    bool                  _tacacs_live_changed;
    bool                  _tacacs_first_set;
    std::unique_ptr<TacLivePass> _tac_pass;
    std::unique_ptr<TacLivePass> _tac_spent_pass;
    bool                  _tac_pass_again;
    std::set<std::string> _snmp_access_list;
    std::set<std::string> _remote_access_list;
    std::set<std::string> _web_access_list;
    bool                  _inband_enabled;
    std::list<int>        _inband_pending;
    XorpTimer             _inband_timer;
    std::string           _hostname;
    uint32_t              _ssh_connection_limit;
    uint32_t              _ssh_rate_limit;
    bool                  _ssh_connection_limit_installed;
    bool                  _ssh_rate_limit_installed;
    uint32_t              _telnet_rate_limit;
    bool                  _telnet_rate_limit_installed;
    // In-band rules of each interface as the last step on it left them: true
    // if open, false if locked; an interface not in it is not known.
    std::map<int, bool>   _inband_reached;
};

#endif // LOGIN_CORE_LOGIN_MAIN_HH
