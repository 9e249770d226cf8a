// What the remote configuration agent needs of the access lists.

#ifndef LOGIN_ACCESS_ACCESS_LISTS_HH
#define LOGIN_ACCESS_ACCESS_LISTS_HH

#include <set>
#include <string>

// Deletes the ACCEPT rule of each entry of the web list and erases the
// entries whose rule is gone; an entry whose delete failed stays.
void delete_web_access_accepts(std::set<std::string>& list);

#endif // LOGIN_ACCESS_ACCESS_LISTS_HH
