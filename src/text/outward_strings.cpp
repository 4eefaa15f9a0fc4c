#include "text/outward_strings.h"

#include "text/buffer_files.h"
#include "text/file_sys.h"

namespace borvik {

bool BvByteData::loadFile(const char* fileName) {
    XString path;
    path.setPath(fileName, utf8Mode);
    return borvik::loadFile(data_, path, nullptr);
}

bool BvByteData::saveFile(const char* fileName) const {
    XString path;
    path.setPath(fileName, utf8Mode);
    return FileSys::writeFile(path, data_.getData(), data_.getSize(), nullptr);
}

}  // namespace borvik
