#include "host/log/LogContextExitor.h"

#include "host/log/ClsBase.h"
#include "host/log/LogBase.h"

namespace xmldsig {

LogContextExitor::LogContextExitor(LogBase& log, const char* name) : m_log(&log) {
    m_log->enterContext(name);
}

LogContextExitor::LogContextExitor(ClsBase& component, const char* name)
    : m_log(&component.m_log), m_component(&component) {
    // The outermost public call on a component starts a fresh log; nested calls add to it.
    if (component.m_publicCallDepth++ == 0) component.m_log.resetTree();
    m_log->enterContext(name);
}

LogContextExitor::~LogContextExitor() {
    m_log->leaveContext();
    if (m_component != nullptr) --m_component->m_publicCallDepth;
}

}  // namespace xmldsig
