#include "pbUtils.h"

#include "dispatcher.h"

namespace PbUtility {

PbUtils::PbUtils(const std::string& endpointName, int /*nParam*/)
    : m_impl(new PbUtilsImpl(endpointName)) {}

PbUtils::~PbUtils() { delete m_impl; }

eErrorT PbUtils::start() { return m_impl->start(); }

void PbUtils::readyToDispatchMessages(bool bReady) { m_impl->setReady(bReady); }

void PbUtils::join() const { m_impl->join(); }

}  // namespace PbUtility
