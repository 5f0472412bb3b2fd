#pragma once

#include <QString>

// The network a calling address belongs to, as a limit on callers sees it: the addresses of one
// IPv4 /24 or one IPv6 /64 are most often one household, one customer of a provider or one
// attacker's block, and whoever holds one of them can as easily call from the next.
// "203.0.113.0/24", "2001:db8:1:2::/64"; text that is no address stands for itself alone.
QString callerNetwork(const QString& address);
