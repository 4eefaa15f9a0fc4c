#pragma once

namespace borvik {

/// Root of the classes through which code outside the library reaches it.
class BvObject {
public:
    BvObject() = default;
    virtual ~BvObject() = default;

    BvObject(const BvObject&) = delete;
    BvObject& operator=(const BvObject&) = delete;
};

}  // namespace borvik
