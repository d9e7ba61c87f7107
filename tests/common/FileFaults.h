#pragma once

#include <csignal>
#include <sys/resource.h>

namespace testfaults {

// Makes every write beyond `bytes` fail with EFBIG for as long as it lives: a full disk for
// this process only.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_saved);
        m_oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = m_saved;
        limit.rlim_cur = bytes;
        m_active = setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_saved);
        std::signal(SIGXFSZ, m_oldHandler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    bool active() const { return m_active; }

private:
    rlimit m_saved{};
    void (*m_oldHandler)(int) = nullptr;
    bool m_active = false;
};

} // namespace testfaults
