#ifndef PBUTILITY_PBUTILS_H
#define PBUTILITY_PBUTILS_H

#include <string>

#include "ErrTypes.h"

namespace PbUtility {

class PbUtilsImpl;

/// Message dispatcher of one endpoint: receives requests from other processes and delivers them,
/// one at a time, on a thread of its own.
///
/// Life: constructed, `start` (clients may connect, their requests wait), `readyToDispatchMessages`
/// (requests are delivered), `join` until the dispatcher ends. All operations are called on the
/// thread that constructed the object. None throws: a dispatcher that could not be made, for lack
/// of memory or descriptors, does not start.
class PbUtils {
public:
    /// @param endpointName  name of the endpoint, under which clients find it
    /// @param nParam        meant for the dispatcher; this platform's takes any value
    PbUtils(const std::string& endpointName, int nParam);
    /// Ends a running dispatcher in order and releases it.
    ~PbUtils();

    PbUtils(const PbUtils&) = delete;
    PbUtils& operator=(const PbUtils&) = delete;

    /// Opens the endpoint. A failure has been logged when this returns.
    /// @return kNoError; kAlreadyInUse (another process holds the endpoint); kBadPath (no usable
    ///         runtime directory); kNotInitialized (it could not be made); kOutOfMemory;
    ///         kSystemCallFailed
    eErrorT start();

    /// With true, delivery of requests begins; with false, requests wait from now on.
    void readyToDispatchMessages(bool bReady);

    /// Blocks until the dispatcher has ended: on a shutdown request, or at once when it could not
    /// start.
    void join() const;

private:
    friend class PbUtilsImpl;

    // owned; a plain pointer, so that a platform without the type can still define the operations
    PbUtilsImpl* m_impl;
};

}  // namespace PbUtility

#endif
