#pragma once
// The functions of libcomedi that boards need, looked up when the program runs: where the library is not
// installed, there are no such boards. A test puts its own in their place. See comedi.org for what each does.

#include <cstddef>
#include <linux/comedi.h>
#include <sys/types.h>

namespace kymora {

struct ComediDevice;  // comedi_t

struct ComediRange {  // comedi_range
    double min;
    double max;
    unsigned int unit;
};

struct ComediLibrary {
    ComediDevice* (*open)(const char* file);
    int (*close)(ComediDevice*);
    int (*fileno)(ComediDevice*);
    const char* (*boardName)(ComediDevice*);
    int (*findSubdevice)(ComediDevice*, int type, unsigned int from);
    int (*flags)(ComediDevice*, unsigned int subdevice);
    int (*channels)(ComediDevice*, unsigned int subdevice);
    unsigned int (*maxData)(ComediDevice*, unsigned int subdevice, unsigned int channel);
    int (*rangeCount)(ComediDevice*, unsigned int subdevice, unsigned int channel);
    ComediRange* (*range)(ComediDevice*, unsigned int subdevice, unsigned int channel, unsigned int range);
    int (*timedCommand)(ComediDevice*, unsigned int subdevice, comedi_cmd*, unsigned int channels,
                        unsigned int scanPeriodNs);
    int (*testCommand)(ComediDevice*, comedi_cmd*);
    int (*command)(ComediDevice*, comedi_cmd*);
    int (*cancel)(ComediDevice*, unsigned int subdevice);
    int (*internalTrigger)(ComediDevice*, unsigned int subdevice, unsigned int number);
    int (*configureDigital)(ComediDevice*, unsigned int subdevice, unsigned int channel,
                            unsigned int direction);
    int (*writeDigital)(ComediDevice*, unsigned int subdevice, unsigned int channel, unsigned int bit);
    // Of the device's file.
    ssize_t (*read)(int file, void* to, size_t bytes);
    ssize_t (*write)(int file, const void* from, size_t bytes);
};

// Null where the library, or one of these functions, is not there.
const ComediLibrary* FindComedi();

}  // namespace kymora
