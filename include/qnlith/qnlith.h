// The whole public interface: the library and both layers beneath it.
#pragma once

#include <qnlith/win32.h>
#include <qnlith/framework.h>
#include <qnlith/core/api.h>
#include <qnlith/core/cString.h>
#include <qnlith/failure/cException.h>
#include <qnlith/failure/cMfcException.h>
#include <qnlith/failure/errorText.h>
#include <qnlith/failure/messageText.h>
#include <qnlith/core/frame.h>
#include <qnlith/system/cPlatform.h>
#include <qnlith/system/cCommandLine.h>
#include <qnlith/system/cProcess.h>
#include <qnlith/system/cRegistryNode.h>
#include <qnlith/core/cHandle.h>
#include <qnlith/core/cReferenceCounted.h>
#include <qnlith/core/cThreadSafeOperations.h>
#include <qnlith/system/cResourceLibrary.h>
#include <qnlith/system/cResourceId.h>
#include <qnlith/system/cResourceString.h>
#include <qnlith/system/cDynamicLinkLibrary.h>
#include <qnlith/concurrency/cCriticalSection.h>
#include <qnlith/concurrency/cEvent.h>
#include <qnlith/concurrency/cMutexSemaphore.h>
#include <qnlith/concurrency/cResourceLock.h>
#include <qnlith/concurrency/cSemaphore.h>
