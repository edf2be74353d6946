#pragma once
// While the toolkit starts and the main window is built, a second thread does what the
// window's load is about to: it opens the sound device and decodes the pictures and sounds.
// The load takes the results in its own order, with its own messages, and does itself
// whatever the thread has not reached. Made first thing in main; ended once the window stands.

#include <thread>

class StartupPrefetch {
  public:
    StartupPrefetch();
    ~StartupPrefetch();
    StartupPrefetch(const StartupPrefetch&) = delete;
    StartupPrefetch& operator=(const StartupPrefetch&) = delete;

  private:
    std::thread thread_;
};
