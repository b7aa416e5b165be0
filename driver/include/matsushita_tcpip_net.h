// matsushita_tcpip_net.h - the one header that a host includes: records, driver object, functions, data objects.

#ifndef MATSUSHITA_TCPIP_NET_H
#define MATSUSHITA_TCPIP_NET_H

#include "matsushita_tcpip_net/interface.h" // IWYU pragma: export

#endif
