#include "kelorintal/GUIThread.h"

#include "kelorintal/ToolkitApplication.h"

#include <QtCore/QEvent>
#include <QtCore/QThread>
#include <QtWidgets/QApplication>

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace kelorintal {

namespace {

/// The toolkit's own GUI thread. Never destroyed: it sleeps in here while the process ends.
class ToolkitThread {
public:
    static ToolkitThread& Instance()
    {
        static ToolkitThread& sThread = *new ToolkitThread;
        return sThread;
    }

    /// Whether the calling thread is this one, inside a job.
    bool IsCurrent() const { return mThread == std::this_thread::get_id(); }

    /// The host's QCoreApplication, or null. While a job runs, the one that exists is ours.
    QCoreApplication* HostApplication()
    {
        const std::lock_guard lock(mMutex);
        return mJob == nullptr ? QCoreApplication::instance() : nullptr;
    }

    std::string Run(const std::function<void()>& function)
    {
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [this] { return mJob == nullptr; });
        Job job{&function, {}, false};
        mJob = &job;
        StartThreadOnce();
        mChanged.notify_all();
        mChanged.wait(lock, [&job] { return job.done; });
        return job.whyNot;
    }

private:
    struct Job {
        const std::function<void()>* function;
        std::string whyNot;
        bool done;
    };

    void StartThreadOnce()
    {
        if (!mStarted) {
            std::thread([this] { Loop(); }).detach();
            mStarted = true;
        }
    }

    void Loop()
    {
        mThread = std::this_thread::get_id();
        std::unique_lock lock(mMutex);
        for (;;) {
            mChanged.wait(lock, [this] { return mJob != nullptr; });
            Job& job = *mJob;
            lock.unlock();
            job.whyNot = RunInApplication(*job.function);
            lock.lock();
            job.done = true;
            mJob = nullptr;
            mChanged.notify_all();
        }
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::atomic<std::thread::id> mThread; // written by the thread itself
    Job* mJob = nullptr;                  // guarded by mMutex
    bool mStarted = false;                // guarded by mMutex
};

/// One call of a host's GUI thread.
class Errand {
public:
    explicit Errand(const std::function<void()>& function)
        : mFunction(function)
    {
    }

    // [caller]
    void Run(QThread* guiThread)
    {
        std::unique_lock lock(sMutex);
        auto* messenger = new Messenger(*this);
        messenger->moveToThread(guiThread);
        QCoreApplication::postEvent(messenger, new QEvent(QEvent::User));
        sChanged.wait(lock, [this] { return mIsDone; });
    }

private:
    /// What Qt carries over. Lives on the GUI thread, which also destroys it.
    class Messenger : public QObject {
    public:
        explicit Messenger(Errand& errand)
            : mErrand(errand)
        {
        }
        void customEvent(QEvent*) override
        {
            std::unique_lock lock(sMutex);
            Errand& errand = mErrand;
            lock.unlock();
            delete this; // not deleteLater: the host may leave its event loop right after this
            Do(errand);
        }

    private:
        Errand& mErrand;
    };

    // [GUI]
    static void Do(Errand& errand)
    {
        errand.mFunction();
        const std::lock_guard lock(sMutex);
        errand.mIsDone = true;
        sChanged.notify_all();
    }

    // Shared by all errands, so that a messenger itself lies under it while it is handed over.
    static std::mutex sMutex;
    static std::condition_variable sChanged;

    const std::function<void()>& mFunction;
    bool mIsDone = false; // guarded by sMutex
};

std::mutex Errand::sMutex;
std::condition_variable Errand::sChanged;

std::string RunInHostApplication(QCoreApplication& host, const std::function<void()>& function)
{
    if (qobject_cast<QApplication*>(&host) == nullptr) {
        return "the process runs Qt without widgets";
    }
    if (host.thread() == QThread::currentThread()) {
        function();
    } else {
        Errand(function).Run(host.thread());
    }
    return {};
}

} // namespace

std::string RunOnGUIThread(const std::function<void()>& function)
{
    std::exception_ptr failure;
    const std::function<void()> guarded = [&function, &failure] {
        try {
            function();
        } catch (...) {
            failure = std::current_exception();
        }
    };
    std::string whyNot;
    if (ToolkitThread::Instance().IsCurrent()) {
        guarded();
    } else if (auto* host = ToolkitThread::Instance().HostApplication(); host != nullptr) {
        whyNot = RunInHostApplication(*host, guarded);
    } else {
        whyNot = ToolkitThread::Instance().Run(guarded);
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
    return whyNot;
}

} // namespace kelorintal
