#include "basics/OutputFolder.h"

#include "basics/AppError.h"

#include <unistd.h>

namespace kestrova::app {

namespace fs = std::filesystem;

OutputFolder::OutputFolder(fs::path target)
{
    if (target.empty()) {
        throw AppError("--to: needs the name of a folder", ExitStatus::Usage);
    }
    m_target = fs::absolute(target).lexically_normal();
    if (!m_target.has_filename()) { // a trailing slash
        m_target = m_target.parent_path();
    }
    std::error_code error;
    if (fs::exists(m_target, error) && !fs::is_directory(m_target, error)) {
        throw AppError(target.string() + ": is a file, not a folder", ExitStatus::File);
    }
    for (fs::path parent = m_target.parent_path(); !fs::exists(parent, error); parent = parent.parent_path()) {
        m_newParents.push_back(parent);
    }
    m_partial = m_target;
    m_partial += ".partial-" + std::to_string(::getpid());
    fs::create_directories(m_partial, error);
    if (error) {
        throw AppError(target.string() + ": cannot be made: " + error.message(), ExitStatus::File);
    }
}

OutputFolder::~OutputFolder()
{
    std::error_code ignored;
    fs::remove_all(m_partial, ignored);
    for (const fs::path& rParent : m_newParents) {
        fs::remove(rParent, ignored); // one that holds the committed folder stays
    }
}

void OutputFolder::commit()
{
    std::error_code error;
    if (!fs::exists(m_target)) {
        fs::rename(m_partial, m_target, error);
    } else {
        for (const fs::directory_entry& rEntry : fs::directory_iterator(m_partial)) { // before any file is moved
            if (const fs::path place = m_target / rEntry.path().filename(); fs::is_directory(place)) {
                throw AppError(place.string() + ": is a folder in the way of a file", ExitStatus::File);
            }
        }
        for (const fs::directory_entry& rEntry : fs::directory_iterator(m_partial)) {
            if (!error) {
                fs::rename(rEntry.path(), m_target / rEntry.path().filename(), error);
            }
        }
    }
    if (error) {
        throw AppError(m_target.string() + ": cannot be written: " + error.message(), ExitStatus::File);
    }
}

} // namespace kestrova::app
