/*
 * The concurrency of a session, for Spin: the exported functions that a caller's thread runs, the
 * verdict that another thread gives, the worker with its slot, and the port's receive thread.
 *
 * Left as it is, the model is the library and a caller that keeps the rules. Each switch takes one
 * precaution or one rule away and makes Spin report the failure that it prevents; README.md lists
 * them. Functions of the library are inlines of the same name here.
 *
 * What holds it together:
 *  - A section of a lock is one step when nothing in it waits and no other thread can notice a part
 *    of it; else the lock is taken and released in steps of their own.
 *  - Objects do not vanish here; a flag says that one has gone, and whoever uses it asserts that it
 *    has not. What has gone does not come back while anybody can still reach it, so who needs it for
 *    a while looks at the end.
 */

/* ---------------------------------------------------------------- The threads ----------------- */

/* A worker's thread is detached and may still be ending when the next one has started. */
#define WORKERS 2
/* As many sessions: the threads that are ending co-own the lock of a session that has gone. */
#ifndef SESSIONS
#define SESSIONS 2
#endif

#ifdef TWO_CALLERS
#define CALLERS 2
#else
#define CALLERS 1
#endif

/* Threads are known by their _pid: workers, callers, the ports' threads, the verdict giver. */
#define PORT_THREADS (WORKERS + CALLERS)
#define NONE 15

/* ---------------------------------------------------------------- The session ----------------- */

mtype = {noWorker, stoppable, csrWorker};               /* workerKind */
mtype = {capture, hostAssistedCapture, stream, csr};    /* what a worker's body does */
mtype = {awaited, rejected, accepted};                  /* hacVerdict */
mtype = {streaming, judging, polling};                  /* where streamLoop is */
mtype = {running, reported, stopped, portFailed};       /* how a worker ends */

/* RidgeDevice */
typedef Session {
    bool alive;             /* the object itself */
    bool connected;         /* packetHandler and commands are not null */
    byte worker = NONE;     /* worker: the thread that the slot names */
    mtype workerKind = noWorker;
    bool csrAnswered;
    bool stopRequested;
    bool serialError;       /* serialError is not empty */
    mtype hacVerdict = awaited;
    /* Not in the library: a verdict has been given since the last image was shown, or since the
       start. */
    bool verdictGiven
}
Session sessions[SESSIONS];

/* stateMutex and workerDone, which always have the same owners. */
typedef SharedLock {
    byte coOwners;          /* shared_ptr: the session and the closures of its workers; 0: gone */
    byte holder = NONE
}
SharedLock locks[SESSIONS];

/* The session on whose workerDone the thread sleeps. Only callers wait, and a worker whose callback
   breaks the rules. */
byte sleepsOn[WORKERS + CALLERS] = NONE;

/* The thread of a worker and its closure. */
typedef WorkerThread {
    bool started;
    byte session;
    mtype body;
    bool listenerGone       /* the listener that it reports to has been destroyed */
}
WorkerThread threads[WORKERS];

/* DefaultSerialPort: the receive thread runs from the opening to the failure or the closing. */
typedef Port {
    bool threadRuns;
    bool stopping
}
Port ports[SESSIONS];

/* ---------------------------------------------------------------- The context and the host ---- */

/* ridgeDeviceContext::device */
byte device = NONE;

/* The caller is inside a function of the library. */
bool inCall;
/* Other threads may use the context: after the connect, before ridgeDisconnect. */
bool openToOthers;
/* The verdict giver is inside a function of the library. */
bool otherInCall;
/* A signing request has been asked for, and neither of its callbacks has been called yet. */
bool csrUnderWay;

/* keepModuleLoaded has been called; the host has not unloaded the DLL. */
bool pinned;
bool loaded = true;

/* ---------------------------------------------------------------- Lock and notification ------- */

#define touchLock(s) assert(locks[s].coOwners > 0)
#define touchSession(s) assert(sessions[s].alive)

/* What stands between the two is one step, or is in an atomic step with each of them. */
inline lock(s, me) {
    locks[s].holder == NONE;
    touchLock(s);
    locks[s].holder = me
}

inline unlock(s) {
    touchLock(s);
    locks[s].holder = NONE
}

/* workerDone->wait, once: goes to sleep and releases the lock in one step. Comes back when notified,
   or once for no reason. */
inline wait(s, me) {
    atomic { unlock(s); sleepsOn[me] = s };
    atomic {
        if
        :: sleepsOn[me] == NONE
#ifndef FOR_CYCLES /* fairness must not make it happen */
        :: sleepsOn[me] != NONE && !woken -> woken = true; sleepsOn[me] = NONE
#endif
        fi;
        lock(s, me)
    }
}

inline waitForEmptySlot(s, me) {
#ifdef WAIT_WITHOUT_CONDITION
    wait(s, me)
#else
    do
    :: sessions[s].worker == NONE -> break
    :: else -> wait(s, me)
    od
#endif
}

/* Wakes those who sleep at this moment, and nobody else. */
inline notifyAll(s) {
    touchLock(s);
    for (sleeper : 0 .. WORKERS + CALLERS - 1) {
        if
        :: sleepsOn[sleeper] == s -> sleepsOn[sleeper] = NONE
        :: else
        fi
    }
    sleeper = 0
}

/* ---------------------------------------------------------------- RidgeDevice ----------------- */

/* commands and packetHandler are reset: the port stops its thread and joins it. */
inline closePort(s) {
    touchSession(s);
    sessions[s].connected = false;
    ports[s].stopping = true;
#ifndef PORT_THREAD_NOT_JOINED
    !ports[s].threadRuns;
#endif
    ports[s].stopping = false
}

inline stopCapture(s, me) {
    atomic { lock(s, me); touchSession(s) };
    if
    :: sessions[s].worker != NONE && sessions[s].workerKind == stoppable ->
        sessions[s].stopRequested = true;
        waitForEmptySlot(s, me)
    :: else
    fi;
    atomic { unlock(s) }
}

inline disconnect(s, me) {
    atomic { lock(s, me); closePort(s); unlock(s) }
}

inline waitForCsrDelivery(s, me) {
    atomic { lock(s, me); touchSession(s) };
    if
    :: sessions[s].worker != NONE && sessions[s].csrAnswered && sessions[s].worker != me ->
        waitForEmptySlot(s, me)
    :: else
    fi;
    atomic { unlock(s) }
}

inline close(s, me) {
#ifndef CSR_NOT_CHECKED
    atomic {
        lock(s, me);
        touchSession(s);
        /* std::terminate */
        assert(!(sessions[s].workerKind == csrWorker && !sessions[s].csrAnswered));
        unlock(s)
    };
#endif
    stopCapture(s, me);
    disconnect(s, me);
#ifndef DELIVERY_NOT_AWAITED
    waitForCsrDelivery(s, me)
#endif
}

/* The destructor after close, and the end of the members. */
inline destroy(s) {
    atomic {
        touchSession(s);
        assert(!sessions[s].connected);
        /* A thread object that is joinable ends the process. */
        assert(sessions[s].worker == NONE);
        sessions[s].alive = false;
        sessions[s].csrAnswered = false;
        sessions[s].stopRequested = false;
        sessions[s].serialError = false;
        sessions[s].hacVerdict = awaited;
        sessions[s].verdictGiven = false;
        locks[s].coOwners--
    }
}

/* From any thread. */
inline setHostAssistedCaptureResult(s, me) {
    atomic {
        lock(s, me);
        touchSession(s);
        if
        :: sessions[s].hacVerdict = rejected
        :: sessions[s].hacVerdict = accepted
        fi;
        sessions[s].verdictGiven = true;
        unlock(s)
    }
}

/* An image is to be shown, or a capture to be started. */
inline awaitVerdict(s, me) {
    atomic {
        lock(s, me);
        touchSession(s);
        sessions[s].hacVerdict = awaited;
        sessions[s].verdictGiven = false;
        unlock(s)
    }
}

/* ---------------------------------------------------------------- The worker ------------------ */

/* One round trip, with the session's command set. Commands are bounded in time, so each ends, well
   or not. */
inline runCommand(s) {
    atomic {
        touchSession(s);
        assert(sessions[s].connected);
        if
        :: succeeded = true
        :: succeeded = false
        fi
    }
}

/* A callback of the host's. It may give a verdict, and returns. */
inline callBack(s, me) {
    if
    :: true
    :: true ->
        assert(device == s);
        setHostAssistedCaptureResult(s, me)
#ifdef STOP_IN_CALLBACK
    :: body != csr -> stopCapture(s, me)
#endif
#ifdef FREE_IN_CALLBACK
    :: body == csr -> close(s, me); destroy(s)
#endif
#ifdef CALLBACK_WAITS_FOR_CALLER
    :: true -> !inCall
#endif
    fi;
    assert(!threads[me].listenerGone)
}

active [WORKERS] proctype Worker() {
    byte s;
    mtype body;
    mtype phase = streaming;
    mtype outcome = running;
    mtype verdict = awaited;
    bool succeeded;
    bool woken;
    byte sleeper;

end:
    do
    :: atomic {
        threads[_pid].started;
        s = threads[_pid].session;
        body = threads[_pid].body;
#ifdef FLAG_CLEARED_BY_WORKER
        sessions[s].stopRequested = false
#endif
    };
        runCommand(s);
        if
        :: body == csr ->
            /* createCsrBody: looks neither at the stop flag nor at the port's error. */
            atomic { lock(s, _pid); touchSession(s); sessions[s].csrAnswered = true; unlock(s) };
            csrUnderWay = false;
            callBack(s, _pid);
            outcome = reported;
            goto over
        :: body != csr && !succeeded -> goto failed
        :: body == capture && succeeded -> phase = polling
        :: else
        fi;
        /* captureLoop and streamLoop */
        do
        :: sessions[s].stopRequested -> break
        :: !sessions[s].stopRequested ->
            if
            :: sessions[s].serialError ->
                /* exitOnSerialError */
                disconnect(s, _pid);
                callBack(s, _pid);
                outcome = portFailed;
                goto over
            :: !sessions[s].serialError
            fi;
            if
            :: phase == judging ->
                atomic {
                    lock(s, _pid);
                    touchSession(s);
                    verdict = sessions[s].hacVerdict;
                    /* None is lost, and none of another image counts. */
                    assert(sessions[s].verdictGiven == (verdict != awaited));
                    unlock(s)
                };
                runCommand(s);
                if
                :: !succeeded -> goto failed
                :: succeeded && verdict == rejected -> phase = streaming
                :: succeeded && verdict == accepted -> phase = polling
                :: else
                fi;
                verdict = awaited
            :: phase == polling ->
                /* pollCaptureData */
                runCommand(s);
                if
                :: !succeeded -> goto failed
                :: succeeded
                :: succeeded ->
                    callBack(s, _pid);
                    if
                    :: body == capture /* an event */
                    :: true -> outcome = reported; break
                    fi
                fi
            :: phase == streaming ->
                /* pollStreamData */
                runCommand(s);
                if
                :: !succeeded -> goto failed
                :: succeeded
                :: succeeded ->
                    if
                    :: body == stream
                    :: body == hostAssistedCapture -> phase = judging /* cannot be parsed: onError */
                    :: body == hostAssistedCapture ->
                        phase = judging;
#ifdef VERDICT_RESET_LATE
                        sessions[s].verdictGiven = false
#else
                        awaitVerdict(s, _pid)
#endif
                    fi;
                    callBack(s, _pid);
#ifdef VERDICT_RESET_LATE
                    sessions[s].hacVerdict = awaited
#endif
                fi
            fi
        od;
        /* endCapture: drops a chunk if a block was under way. */
        if
        :: !sessions[s].serialError -> runCommand(s)
        :: true
        fi;
        if
        :: sessions[s].stopRequested ->
            runCommand(s);
            if
            :: !succeeded -> goto failed
            :: succeeded && outcome == running -> outcome = stopped
            :: else
            fi
        :: !sessions[s].stopRequested
        fi;
        goto over;
failed:
        /* runReporting */
        callBack(s, _pid);
        outcome = reported;
over:
        /* runWorker. Each end is one of the documented ones, and the listener has heard of it
           unless it was asked for. */
#ifdef SLOT_WITHOUT_LOCK
        atomic { lock(s, _pid); unlock(s) };
#endif
        atomic {
#ifndef SLOT_WITHOUT_LOCK
            lock(s, _pid);
#endif
            touchSession(s);
            assert(outcome != running);
            assert(outcome != stopped || sessions[s].stopRequested);
            assert(outcome != portFailed || sessions[s].serialError);
            assert((outcome == portFailed) == !sessions[s].connected || body == csr);
            assert(sessions[s].worker == _pid);
            sessions[s].worker = NONE;
            sessions[s].workerKind = noWorker;
            body = 0;
            outcome = running;
            phase = streaming;
            verdict = awaited;
            succeeded = false;
            woken = false;
#ifndef SLOT_WITHOUT_LOCK
            unlock(s)
#endif
        };
        /* The unlocking, too, touches the mutex after others may have it. */
        atomic { notifyAll(s) };
        /* The last instructions. The closure goes. */
        atomic {
            assert(loaded);
#ifndef LOCK_NOT_SHARED
            locks[s].coOwners--;
#endif
            s = 0;
            threads[_pid].started = false;
            threads[_pid].listenerGone = false;
            threads[_pid].session = 0;
            threads[_pid].body = 0
        }
    od
}

/* ---------------------------------------------------------------- The caller ------------------ */

/* Whoever reports to the listener that goes would call freed memory. (Two callers take each other's
   listeners away at once; what else they do is of interest then.) */
inline destroyListener(isCsr) {
#if CALLERS == 1
    d_step {
        for (thread : 0 .. WORKERS - 1) {
            if
            :: threads[thread].started && sessions[threads[thread].session].worker == thread &&
                (threads[thread].body == csr) == isCsr -> threads[thread].listenerGone = true
            :: else
            fi
        }
        thread = 0
    }
#else
    skip
#endif
}

/* Tests, and reserves nothing. */
inline checkReady(s, me) {
    atomic { lock(s, me); touchSession(s); ready = sessions[s].connected; unlock(s) };
    atomic { lock(s, me); touchSession(s); ready = ready && sessions[s].worker == NONE; unlock(s) };
#ifndef ERROR_NOT_CHECKED_LAST
    atomic { touchSession(s); ready = ready && !sessions[s].serialError }
#endif
}

inline startWorker(s, me, kind) {
#ifndef NOT_PINNED
    pinned = true;
#endif
    sessions[s].stopRequested = false;
    atomic {
#ifndef STORE_WITHOUT_LOCK
        lock(s, me);
#endif
        touchSession(s);
        /* The thread runs from here on. */
        if
        :: !threads[0].started -> thread = 0
        :: threads[0].started && !threads[1].started -> thread = 1
        fi;
        threads[thread].started = true;
        threads[thread].session = s;
        threads[thread].body = body;
#ifndef LOCK_NOT_SHARED
        locks[s].coOwners++;
#endif
        csrUnderWay = (kind == csrWorker)
    };
    atomic {
        /* At most one: storing over a thread object that is joinable ends the process. */
        assert(sessions[s].worker == NONE);
        sessions[s].worker = thread;
        sessions[s].workerKind = kind;
        sessions[s].csrAnswered = false;
        thread = 0;
#ifndef STORE_WITHOUT_LOCK
        unlock(s)
#endif
    }
}

/* ridgeConnect, ridgeConnectCOM */
inline connectScanner() {
    atomic {
        if
        :: locks[0].coOwners == 0 -> s = 0
#if SESSIONS > 1
        :: locks[0].coOwners != 0 && locks[1].coOwners == 0 -> s = 1
#endif
        fi;
        sessions[s].alive = true;
        locks[s].coOwners = 1;
        ports[s].threadRuns = true;
        sessions[s].connected = true
    };
    runCommand(s);
    if
    :: succeeded -> atomic { device = s; openToOthers = true }
    :: else ->
        atomic { closePort(s) };
        destroy(s)
    fi
}

/* ridgeStartCapture, ridgeStartHostAssistedCapture, ridgeStartStream. The checks that checkReady
   repeats are left out. */
inline startCapture(me) {
#ifdef LISTENER_REPLACED_FIRST
    destroyListener(false);
#endif
    /* checkCaptureInactive */
    atomic {
        lock(s, me);
        touchSession(s);
        ready = (sessions[s].workerKind != stoppable);
        unlock(s)
    };
    if
    :: ready ->
        destroyListener(false);
        checkReady(s, me)
    :: else
    fi;
    if
    :: ready && true -> body = capture; startWorker(s, me, stoppable)
    :: ready && true -> body = stream; startWorker(s, me, stoppable)
    :: ready && true ->
        body = hostAssistedCapture;
#ifdef VERDICT_KEPT
        sessions[s].verdictGiven = false;
#else
        awaitVerdict(s, me);
#endif
        startWorker(s, me, stoppable)
    :: !ready
    fi
}

/* ridgeDeviceSecurityCreateCsr */
inline createCsr(me) {
#ifdef CSR_LISTENER_NOT_SHARED
    destroyListener(true);
#endif
    checkReady(s, me);
    if
    :: ready -> body = csr; startWorker(s, me, csrWorker)
    :: else
    fi
}

/* Any function that runs a command on the caller's thread. */
inline command(me) {
    checkReady(s, me);
    if
    :: ready -> runCommand(s)
    :: else
    fi
}

/* ridgeStopCapture */
inline stop(me) {
    stopCapture(s, me);
    destroyListener(false)
}

/* ridgeDisconnect, ridgeFreeDeviceContext. Before, the host sees to it that no other thread of its
   own uses the session any more. */
inline release(me) {
#ifndef VERDICT_DURING_DISCONNECT
    openToOthers = false;
    !otherInCall;
#endif
#ifdef DEVICE_RESET_FIRST
    device = NONE;
#endif
    close(s, me);
    atomic { device = NONE; destroy(s) }
}

/* One context is used by one thread at a time: one process stands for all the threads of the host
   that take turns. A second process neither connects nor releases: it starts, commands and stops. */
active [CALLERS] proctype Caller() {
    byte s;
    mtype body;
    bool ready;
    bool succeeded;
    bool woken;
    byte thread;

    do
    :: atomic { device == NONE && _pid == WORKERS -> inCall = true };
        connectScanner();
        atomic { s = 0; succeeded = false; inCall = false }
    :: atomic { device != NONE -> s = device; inCall = true };
        if
        :: startCapture(_pid)
        :: createCsr(_pid)
        :: command(_pid)
        :: stop(_pid)
        fi;
        atomic {
            s = 0;
            body = 0;
            ready = false;
            succeeded = false;
            woken = false;
            inCall = false
        }
#ifdef RELEASE_DURING_CSR
    :: atomic { device != NONE -> s = device; inCall = true };
#else
    :: atomic { device != NONE && !csrUnderWay && CALLERS == 1 -> s = device; inCall = true };
#endif
        release(_pid);
        atomic { s = 0; woken = false; inCall = false }
    :: device == NONE -> break
    od;
#if CALLERS == 1
    /* FreeLibrary, which leaves the library when it is pinned. */
    loaded = pinned
#endif
}

/* ---------------------------------------------------------------- The port's receive thread --- */

/* errorMutex is held for one access at a time, with no other lock, and so needs no variable. */
active [SESSIONS] proctype PortThread() {
    byte s = _pid - PORT_THREADS;

end:
    do
#ifdef FOR_CYCLES
    :: ports[s].threadRuns && !ports[s].stopping /* Data; fairness must not make the port fail. */
#endif
    :: atomic { ports[s].threadRuns && ports[s].stopping -> ports[s].threadRuns = false }
    :: atomic {
        ports[s].threadRuns;
#ifdef ERROR_UNDER_STATE_LOCK
        /* Has met the failure. */
        true
    };
    atomic {
        lock(s, _pid);
        unlock(s);
#endif
        /* onSerialPortError */
        touchSession(s);
        sessions[s].serialError = true;
        ports[s].threadRuns = false
    }
    od
}

/* ---------------------------------------------------------------- Another thread of the host -- */

/* ridgeHostAssistedCaptureSetResult; ridgeIsConnected needs the same. A verdict that replaces one
   that nobody has looked at yet is no different from one, and left out. */
active proctype VerdictGiver() {
    byte s;

end:
    do
    :: atomic {
        device != NONE && openToOthers && !sessions[device].verdictGiven;
        s = device;
        otherInCall = true
    };
        atomic {
            setHostAssistedCaptureResult(s, _pid);
            s = 0;
            otherInCall = false
        }
    od
}

/* No call lasts for ever: each wait is ended by somebody. */
ltl callsReturn { [] (inCall -> <> !inCall) }
