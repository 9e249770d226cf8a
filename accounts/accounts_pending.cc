// Placeholder definitions of the account operations, until they are written.
#include "core/login_main.hh"

bool LoginMain::is_valid_user_name(const char*) { return false; }
void LoginMain::validate_user_name(const std::string&) {}
bool LoginMain::user_exists(const std::string&) { return false; }
bool LoginMain::get_user_gid(const std::string&, uint32_t&) { return false; }
bool LoginMain::is_user_in_xorp_group(const std::string&) { return false; }
char* LoginMain::read_line(FILE*, unsigned& length) { length = 0; return nullptr; }
void LoginMain::rewrite_shadow_password(const std::string&, const std::string&) {}
void LoginMain::read_shadow_password(const std::string&, std::string&) {}
void LoginMain::set_encrypted_password(const std::string&, const std::string&) {}
void LoginMain::set_password_locked(const std::string&, const std::string&) {}
void LoginMain::create_user(const std::string&, const std::string&) {}
void LoginMain::delete_user(const std::string&, const std::string&) {}
void LoginMain::set_user_class(const std::string&, const std::string&) {}
void LoginMain::delete_user_class(const std::string&, const std::string&) {}
