// Whoever includes the library's headers gets none of the libraries that it keeps to itself.

#include "kelcore/debug/DebugDatabase.h"
#include "kelcore/debug/Trace.h"
#include "kelcore/proplist/PropList.h"
#include "kelcore/proplist/PropListText.h"
#include "kelcore/threads/AsyncExecutor.h"
#include "kelcore/threads/CurrentThread.h"
#include "kelcore/threads/QueueOnlyOnce.h"
#include "kelcore/threads/RecursiveMutex.h"
#include "kelcore/utility/ByteSequence.h"
#include "kelcore/utility/HighPrecisionTime.h"
#include "kelcore/utility/RefCounted.h"
#include "kelcore/utility/SmallBlockAllocator.h"
#include "kelcore/utility/StringToNumber.h"
#include "kelcore/utility/UTF16String.h"

#include <boost/version.hpp>

#ifdef NLOHMANN_JSON_VERSION_MAJOR
#error "nlohmann/json leaks from kelcore's headers"
#endif
#ifdef BOOST_ASIO_VERSION
#error "Boost.Asio leaks from kelcore's headers"
#endif
#ifdef BOOST_ASIO_DETAIL_CONFIG_HPP
#error "Boost.Asio leaks from kelcore's headers"
#endif
#ifdef UTF8_FOR_CPP_2675DCD0_9480_4c0c_B92A_CC14C027B731
#error "utfcpp leaks from kelcore's headers"
#endif
