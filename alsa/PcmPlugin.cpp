// The "harlune" ALSA PCM: an external I/O plug-in that plays an
// application's frames into "Harlune Virtual Device".
//
// Opening the PCM loads the driver bundle into the application's process
// (LDeviceBridge). The application's writes (interleaved or not, read-write
// or mmap) are converted to the device's float format and queued in the
// PCM's ring, which is as large as the application's buffer; the device's
// IO cycle, paced by the device's clock, takes one IO buffer from the ring
// per cycle. The application's hardware pointer is the count of frames the
// cycle has taken, so ALSA's usual flow control (avail, poll, drain) holds.
//
// Underruns: a cycle that finds the ring short plays what is there and
// silence for the rest, and the stream is starved. With the usual stop
// threshold (at most the buffer size) the next pointer query reports the
// underrun (-EPIPE, ALSA's XRUN); an application that set a larger stop
// threshold ("never stop") is not told, and its later frames simply play
// later. Either way the device's cycle never waits for the application.
//
// Threads: ALSA calls every callback on the application's thread(s),
// serialised by the PCM's own lock where the callback table says so; the
// IO thread touches only the LBridgeStream.
#include "alsa/LDeviceBridge.h"
#include "alsa/LPluginConfig.h"
#include "alsa/LSampleConversion.h"

#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

namespace harlune::alsa {
namespace {

// The PCM's private record; io must come first so that the record can be
// found from the ioplug handle ALSA hands every callback.
struct LHarlunePcm {
    snd_pcm_ioplug_t io;
    LDeviceBridge* pBridge = nullptr;
    LBridgeStream stream;
    LSampleFormat eFormat = LSampleFormat::Float32LE;
    unsigned int nFixedRate = 0;            // the configuration's rate; 0 when either is offered
    snd_pcm_uframes_t nAvailMin = 1;        // frames; from the software parameters
    bool bReportStarving = true;            // the stop threshold asks for underruns to be reported
    snd_pcm_uframes_t nBoundary = 0;        // frames; where ALSA's pointers wrap (software parameters)
};

LHarlunePcm* From(snd_pcm_ioplug_t* pIO) { return static_cast<LHarlunePcm*>(pIO->private_data); }

void ClearWake(LHarlunePcm* pPcm) {
    eventfd_t value = 0;
    eventfd_read(pPcm->stream.fdWake, &value); // non-blocking: nothing to clear is fine
}

int Start(snd_pcm_ioplug_t* pIO) { return From(pIO)->pBridge->Attach(&From(pIO)->stream); }

int Stop(snd_pcm_ioplug_t* pIO) {
    From(pIO)->pBridge->Detach(&From(pIO)->stream);
    return 0;
}

bool Starving(LHarlunePcm* pPcm) {
    return pPcm->bReportStarving && pPcm->io.state == SND_PCM_STATE_RUNNING &&
           pPcm->stream.bStarved.load(std::memory_order_acquire);
}

snd_pcm_sframes_t Pointer(snd_pcm_ioplug_t* pIO) {
    LHarlunePcm* pPcm = From(pIO);
    if (Starving(pPcm)) {
        return -EPIPE;
    }
    // The position wraps at ALSA's boundary, not at the buffer size: a
    // whole buffer may be played between two queries (the application
    // sleeping on a full buffer), which a position within the buffer could
    // not tell from no progress at all.
    if (pPcm->nBoundary == 0) {
        return 0;
    }
    return static_cast<snd_pcm_sframes_t>(pPcm->stream.ring.Consumed() % pPcm->nBoundary);
}

// Copies frames [nOffset, nOffset + nFrames) of the application's areas
// into the ring, converted.
snd_pcm_sframes_t Transfer(snd_pcm_ioplug_t* pIO, const snd_pcm_channel_area_t* pAreas, snd_pcm_uframes_t nOffset,
                           snd_pcm_uframes_t nFrames) {
    LHarlunePcm* pPcm = From(pIO);
    const LSampleFormat eFormat = pPcm->eFormat;
    const std::size_t nTaken = pPcm->stream.ring.Produce(nFrames, [&](float* pfDest, std::size_t nCount, std::size_t nDone) {
        const snd_pcm_channel_area_t& left = pAreas[0];
        const snd_pcm_channel_area_t& right = pAreas[1];
        const std::size_t nFirstFrame = nOffset + nDone;
        // Interleaved float: the frames are already the device's.
        if (eFormat == LSampleFormat::Float32LE && left.addr == right.addr && left.step == 64 && right.step == 64 &&
            left.first == 0 && right.first == 32) {
            std::memcpy(pfDest, static_cast<const char*>(left.addr) + nFirstFrame * 8, nCount * 8);
            return;
        }
        for (unsigned int nChannel = 0; nChannel < 2; ++nChannel) {
            const snd_pcm_channel_area_t& area = pAreas[nChannel];
            const char* pSource =
                static_cast<const char*>(area.addr) + (area.first + area.step * nFirstFrame) / 8;
            LConvertChannel(eFormat, pSource, area.step / 8, pfDest + nChannel, 2, nCount);
        }
    });
    return static_cast<snd_pcm_sframes_t>(nTaken);
}

int Close(snd_pcm_ioplug_t* pIO) {
    LHarlunePcm* pPcm = From(pIO);
    pPcm->pBridge->Detach(&pPcm->stream);
    if (pPcm->stream.fdWake >= 0) {
        close(pPcm->stream.fdWake);
    }
    delete pPcm;
    return 0;
}

int HwParams(snd_pcm_ioplug_t* pIO, snd_pcm_hw_params_t*) {
    LHarlunePcm* pPcm = From(pIO);
    switch (pIO->format) {
    case SND_PCM_FORMAT_S16_LE: pPcm->eFormat = LSampleFormat::S16LE; break;
    case SND_PCM_FORMAT_S32_LE: pPcm->eFormat = LSampleFormat::S32LE; break;
    case SND_PCM_FORMAT_FLOAT_LE: pPcm->eFormat = LSampleFormat::Float32LE; break;
    default: return -EINVAL;
    }
    pPcm->pBridge->Detach(&pPcm->stream);
    const int nError = pPcm->pBridge->SetSampleRate(static_cast<double>(pIO->rate));
    if (nError < 0) {
        SNDERR("harlune: cannot switch the device to %u Hz (%s)", pIO->rate, std::strerror(-nError));
        return nError;
    }
    pPcm->stream.ring.Reset(pIO->buffer_size);
    return 0;
}

int SwParams(snd_pcm_ioplug_t* pIO, snd_pcm_sw_params_t* pParams) {
    LHarlunePcm* pPcm = From(pIO);
    snd_pcm_uframes_t nAvailMin = 1, nStop = 0, nBoundary = 0;
    snd_pcm_sw_params_get_avail_min(pParams, &nAvailMin);
    snd_pcm_sw_params_get_stop_threshold(pParams, &nStop);
    snd_pcm_sw_params_get_boundary(pParams, &nBoundary);
    pPcm->nBoundary = nBoundary;
    pPcm->nAvailMin = nAvailMin > 0 ? nAvailMin : 1;
    pPcm->stream.nWakeRoom.store(pPcm->nAvailMin, std::memory_order_relaxed);
    pPcm->bReportStarving = nStop <= pIO->buffer_size;
    return 0;
}

int Prepare(snd_pcm_ioplug_t* pIO) {
    LHarlunePcm* pPcm = From(pIO);
    pPcm->pBridge->Detach(&pPcm->stream);
    pPcm->stream.ring.Reset(pIO->buffer_size);
    pPcm->stream.bStarved = false;
    pPcm->stream.bPaused = false;
    ClearWake(pPcm);
    return 0;
}

int Pause(snd_pcm_ioplug_t* pIO, int nEnable) {
    // A paused stream keeps its place in the cycle but gives nothing: the
    // device plays the other streams (or silence) meanwhile, as a sound card
    // shared by a sound server would.
    From(pIO)->stream.bPaused = nEnable != 0;
    return 0;
}

int PollRevents(snd_pcm_ioplug_t* pIO, struct pollfd*, unsigned int, unsigned short* pnRevents) {
    LHarlunePcm* pPcm = From(pIO);
    ClearWake(pPcm);
    const std::size_t nQueued = pPcm->stream.ring.Queued();
    const snd_pcm_uframes_t nAvail = pIO->buffer_size > nQueued ? pIO->buffer_size - nQueued : 0;
    const bool bActive = pIO->state == SND_PCM_STATE_RUNNING || pIO->state == SND_PCM_STATE_PREPARED;
    // Outside those states (draining, stopped, underrun) ALSA decides by
    // itself what a wake means; it is told of every one.
    *pnRevents = (!bActive || nAvail >= pPcm->nAvailMin || Starving(pPcm)) ? POLLOUT : 0;
    return 0;
}

int Delay(snd_pcm_ioplug_t* pIO, snd_pcm_sframes_t* pnDelay) {
    // Everything queued in the ring is still to be played.
    *pnDelay = static_cast<snd_pcm_sframes_t>(From(pIO)->stream.ring.Queued());
    return 0;
}

const snd_pcm_ioplug_callback_t kCallbacks = {
    .start = Start,
    .stop = Stop,
    .pointer = Pointer,
    .transfer = Transfer,
    .close = Close,
    .hw_params = HwParams,
    .hw_free = nullptr,
    .sw_params = SwParams,
    .prepare = Prepare,
    .drain = nullptr,
    .pause = Pause,
    .resume = nullptr,
    .poll_descriptors_count = nullptr,
    .poll_descriptors = nullptr,
    .poll_revents = PollRevents,
    .dump = nullptr,
    .delay = Delay,
    .query_chmaps = nullptr,
    .get_chmap = nullptr,
    .set_chmap = nullptr,
};

int SetConstraints(LHarlunePcm* pPcm) {
    static const unsigned int kAccess[] = {SND_PCM_ACCESS_RW_INTERLEAVED, SND_PCM_ACCESS_RW_NONINTERLEAVED,
                                           SND_PCM_ACCESS_MMAP_INTERLEAVED, SND_PCM_ACCESS_MMAP_NONINTERLEAVED};
    static const unsigned int kFormats[] = {SND_PCM_FORMAT_S16_LE, SND_PCM_FORMAT_S32_LE, SND_PCM_FORMAT_FLOAT_LE};
    static const unsigned int kRates[] = {44100, 48000};
    snd_pcm_ioplug_t* pIO = &pPcm->io;
    int n = snd_pcm_ioplug_set_param_list(pIO, SND_PCM_IOPLUG_HW_ACCESS, 4, kAccess);
    if (n >= 0) {
        n = snd_pcm_ioplug_set_param_list(pIO, SND_PCM_IOPLUG_HW_FORMAT, 3, kFormats);
    }
    if (n >= 0) {
        n = snd_pcm_ioplug_set_param_minmax(pIO, SND_PCM_IOPLUG_HW_CHANNELS, 2, 2);
    }
    if (n >= 0) {
        n = pPcm->nFixedRate != 0 ? snd_pcm_ioplug_set_param_minmax(pIO, SND_PCM_IOPLUG_HW_RATE, pPcm->nFixedRate,
                                                                    pPcm->nFixedRate)
                                  : snd_pcm_ioplug_set_param_list(pIO, SND_PCM_IOPLUG_HW_RATE, 2, kRates);
    }
    // The buffer holds at least two of the device's IO cycles of float
    // frames, so that a full cycle can always be queued ahead of the one
    // being played.
    if (n >= 0) {
        n = snd_pcm_ioplug_set_param_minmax(pIO, SND_PCM_IOPLUG_HW_BUFFER_BYTES, LDeviceBridge::kFramesPerCycle * 2 * 8,
                                            4 * 1024 * 1024);
    }
    if (n >= 0) {
        n = snd_pcm_ioplug_set_param_minmax(pIO, SND_PCM_IOPLUG_HW_PERIOD_BYTES, 128, 2 * 1024 * 1024);
    }
    if (n >= 0) {
        n = snd_pcm_ioplug_set_param_minmax(pIO, SND_PCM_IOPLUG_HW_PERIODS, 2, 1024);
    }
    return n;
}

} // namespace
} // namespace harlune::alsa

using harlune::alsa::LHarlunePcm;

// The module is built with hidden symbols; ALSA looks up these two.
#pragma GCC visibility push(default)
extern "C" SND_PCM_PLUGIN_DEFINE_FUNC(harlune) {
    if (stream != SND_PCM_STREAM_PLAYBACK) {
        SNDERR("harlune: \"Harlune Virtual Device\" is an output device; it has no capture stream");
        return -EINVAL;
    }
    harlune::alsa::LPluginConfig config;
    int nError = 0;
    harlune::alsa::LDeviceBridge* pBridge = harlune::alsa::LAcquireConfiguredBridge(conf, &config, &nError);
    if (pBridge == nullptr) {
        return nError;
    }
    auto* pPcm = new (std::nothrow) LHarlunePcm();
    if (pPcm == nullptr) {
        return -ENOMEM;
    }
    pPcm->pBridge = pBridge;
    pPcm->nFixedRate = config.nRate;
    pPcm->stream.fdWake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (pPcm->stream.fdWake < 0) {
        nError = -errno;
        delete pPcm;
        return nError;
    }
    pPcm->io.version = SND_PCM_IOPLUG_VERSION;
    pPcm->io.name = "Harlune Virtual Device";
    pPcm->io.flags = SND_PCM_IOPLUG_FLAG_MONOTONIC | SND_PCM_IOPLUG_FLAG_BOUNDARY_WA;
    pPcm->io.poll_fd = pPcm->stream.fdWake;
    pPcm->io.poll_events = POLLIN;
    pPcm->io.mmap_rw = 0;
    pPcm->io.callback = &harlune::alsa::kCallbacks;
    pPcm->io.private_data = pPcm;
    nError = snd_pcm_ioplug_create(&pPcm->io, name, stream, mode);
    if (nError < 0) {
        close(pPcm->stream.fdWake);
        delete pPcm;
        return nError;
    }
    nError = harlune::alsa::SetConstraints(pPcm);
    if (nError < 0) {
        snd_pcm_ioplug_delete(&pPcm->io); // calls Close, which frees the record
        return nError;
    }
    *pcmp = pPcm->io.pcm;
    return 0;
}

extern "C" {
SND_PCM_PLUGIN_SYMBOL(harlune)
}
#pragma GCC visibility pop
