#include "GMSCacheQueue.h"

#include <QThread>

GMSCacheQueue::GMSCacheQueue(const QString& name) : m_thread(new QThread), m_context(new QObject) {
    m_thread->setObjectName(name);
    m_context->moveToThread(m_thread);
    m_thread->start(QThread::LowPriority);
}

GMSCacheQueue::~GMSCacheQueue() {
    sync([] {});
    // The context is deleted on its own thread, as the thread ends.
    QObject* context = m_context;
    QObject::connect(m_thread, &QThread::finished, m_thread, [context] { delete context; }, Qt::DirectConnection);
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
}

void GMSCacheQueue::async(std::function<void()> block) {
    QMetaObject::invokeMethod(m_context, std::move(block), Qt::QueuedConnection);
}

void GMSCacheQueue::sync(const std::function<void()>& block) {
    if (isCurrent()) {
        block();
        return;
    }
    QMetaObject::invokeMethod(m_context, block, Qt::BlockingQueuedConnection);
}

bool GMSCacheQueue::isCurrent() const { return QThread::currentThread() == m_thread; }
