# Where `cmake --install` puts things: the layout of a XORP-based system,
# relative to the install prefix (/usr/local/xorp unless given).
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr/local/xorp CACHE PATH "Install prefix" FORCE)
endif()
set(LOGIN_INSTALL_MODULEDIR lib/xorp/sbin)  # daemons: login, xorp_finder
set(LOGIN_INSTALL_TOOLDIR lib/xorp/bin)     # call_xrl, xrl_peer, login_op
set(LOGIN_INSTALL_XRLDIR share/xorp/xrl)    # interfaces/*.xif, targets/*.tgt
set(LOGIN_INSTALL_TEMPLATEDIR share/xorp/templates)  # login.tp, login.cmds
