#pragma once
// While the toolkit starts and the main window is built, a second thread does what the
// window's load is about to: it opens the sound device, reads the font configuration and
// decodes the pictures and sounds.
// The load takes the results in its own order, with its own messages, and does itself
// whatever the thread has not reached. Made first thing in main; ended once the window stands.

#include <condition_variable>
#include <mutex>
#include <thread>

class StartupPrefetch {
  public:
    StartupPrefetch();
    ~StartupPrefetch();
    StartupPrefetch(const StartupPrefetch&) = delete;
    StartupPrefetch& operator=(const StartupPrefetch&) = delete;

    // Call once the toolkit has started. Until then the thread opens only the sound device:
    // decoding beside the toolkit's own start, which maps libraries and plugins, slows both.
    void ToolkitStarted();

  private:
    std::mutex lock_;
    std::condition_variable started_;
    bool toolkit_ = false;
    std::thread thread_;
};
