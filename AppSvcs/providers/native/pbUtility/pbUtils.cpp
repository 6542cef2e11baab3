#include "pbUtils.h"

#include "control.h"
#include "dispatcher.h"
#include "exceptions.h"

namespace PbUtility {

PbUtils::PbUtils(const std::string& endpointName, int /*nParam*/) : m_impl(nullptr) {
    try {
        m_impl = new PbUtilsImpl(endpointName);
    } catch (...) {  // no memory, or no descriptor for the event loop
        (void)pbcommon::logException("pbUtility", "make the dispatcher", kSystemCallFailed);
    }
}

PbUtils::~PbUtils() { delete m_impl; }

eErrorT PbUtils::start() { return m_impl == nullptr ? kNotInitialized : m_impl->start(); }

void PbUtils::readyToDispatchMessages(bool bReady) {
    if (m_impl != nullptr) {
        m_impl->setReady(bReady);
    }
}

void PbUtils::join() const {
    if (m_impl != nullptr) {
        m_impl->join();
    }
}

eErrorT setRequestHandler(PbUtils& pbUtils, RequestHandler& handler) {
    PbUtilsImpl* const dispatcher = PbUtilsImpl::of(pbUtils);
    if (dispatcher == nullptr) {
        return kNotInitialized;
    }
    dispatcher->setRequestHandler(handler);
    return kNoError;
}

eErrorT setFrameTime(PbUtils& pbUtils, std::chrono::steady_clock::duration frameTime) {
    PbUtilsImpl* const dispatcher = PbUtilsImpl::of(pbUtils);
    if (dispatcher == nullptr) {
        return kNotInitialized;
    }
    dispatcher->setFrameTime(frameTime);
    return kNoError;
}

void end(PbUtils& pbUtils) {
    if (PbUtilsImpl* const dispatcher = PbUtilsImpl::of(pbUtils)) {
        dispatcher->end();
    }
}

}  // namespace PbUtility
