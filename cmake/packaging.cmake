# .deb packages with CPack: `cpack -G DEB` in a build tree makes
# xorp-login_<version>_<arch>.deb, amd64 natively and powerpc in the cross
# build (the toolchain file sets the architecture). Debian's own package
# "login" owns that name, hence the prefix.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME xorp-login)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "login developers <login@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "system-administration daemon of a XORP-based switch")
set(CPACK_PACKAGE_DESCRIPTION
    "login applies the switch's system settings, given as XRL commands, to Linux: accounts, banners, host name, NTP, syslog, TACACS+, telnet and SSH limits, management firewall rules. With the XORP finder, the call_xrl and xrl_peer tools, and the router manager's template (share/xorp/templates/login.tp) and xorpsh commands (login.cmds) that configure it as the \"system\" node.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
# What the daemon runs, then what it is linked with (set by hand: the cross
# build's libraries are not known to dpkg-shlibdeps as the target's).
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "iptables, passwd, adduser, sed, iputils-ping, procps, hostname, libc6 (>= 2.34), libstdc++6 (>= 12), libgcc-s1")
include(CPack)
