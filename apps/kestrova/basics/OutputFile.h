// A file that appears whole or not at all: written beside its place, and moved there by commit.
#pragma once

#include "basics/AppError.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace kestrova::app {

class OutputFile
{
public:
    /** Throws AppError at once when the place cannot be written, before any work is done for it. */
    explicit OutputFile(std::filesystem::path target) : m_target(std::move(target)), m_partial(m_target)
    {
        std::error_code error;
        const auto eType = std::filesystem::status(m_target, error).type();
        if (eType != std::filesystem::file_type::regular && std::filesystem::exists(m_target, error)) {
            throw AppError(m_target.string() + ": is a folder or a device; name a file", ExitStatus::File);
        }
        if (std::filesystem::is_symlink(m_target, error) && eType == std::filesystem::file_type::regular) {
            m_partial = m_target = std::filesystem::canonical(m_target); // the link stays one
        }
        m_partial += ".partial-" + std::to_string(::getpid());
        if (m_target.empty() || !std::ofstream(m_partial)) {
            throw AppError(m_target.string() + ": cannot be written; name a file in a folder that exists",
                           ExitStatus::File);
        }
    }
    ~OutputFile()
    {
        std::error_code ignored;
        std::filesystem::remove(m_partial, ignored);
    }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::filesystem::path& file() const { return m_partial; }

    void commit()
    {
        std::error_code error;
        std::filesystem::rename(m_partial, m_target, error);
        if (error) {
            throw AppError(m_target.string() + ": cannot be written: " + error.message(), ExitStatus::File);
        }
    }

private:
    std::filesystem::path m_target;
    std::filesystem::path m_partial;
};

} // namespace kestrova::app
