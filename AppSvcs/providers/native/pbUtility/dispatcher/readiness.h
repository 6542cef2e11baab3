#ifndef PBUTILITY_DISPATCHER_READINESS_H
#define PBUTILITY_DISPATCHER_READINESS_H

namespace PbUtility {

/// Tells a service manager that requests are answered from now on: "READY=1" to the datagram socket
/// that NOTIFY_SOCKET names, a path or, after '@', an abstract name. Does nothing without the
/// variable; a failure is logged and hinders nothing. Dispatcher's thread.
void tellReady();

}  // namespace PbUtility

#endif
