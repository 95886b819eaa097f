// SPDX-License-Identifier: Apache-2.0
#include "vellumo/Constants.h"

namespace NAVO::VELLUMO {

const char* const SZF_INDEX_QUEUE_WORKING = "/var/packages/Vellumo/target/index/queue_working";
const char* const SZF_INDEX_QUEUE_DIR = "/var/packages/Vellumo/target/index/";
const char* const SZF_INDEX_QUEUE = "/var/packages/Vellumo/target/index/queue";
const char* const SZF_INDEX_CONFIG = "/var/packages/Vellumo/etc/index.json";
const char* const SZF_INDEX_DAEMON = "/var/packages/Vellumo/target/daemon/navovellumod";
const char* const SZF_ENABLE_INDEX = "/var/packages/Vellumo/etc/enable_index";
const char* const SZF_PIDPATH = "/var/run/navovellumod.pid";
const char* const SZF_UDC_PATH = "/usr/navo/etc/user.data/vellumo";
const char* const SZ_ANONYMOUS_USER = "guest";
const char* const SZ_TYPE_VIEW = "View Document";
const char* const SZF_SUPPORT_FILE_TYPES =
    "pdf,odm,odt,ott,sxw,stw,fodt,docx,docm,dotx,dotm,doc,dot,wps,rtf,odc,ods,ots,sxc,stc,fods,"
    "xlsx,xlsm,xltm,xltx,xlsb,xls,xlc,xlm,xlw,xlk,xlt,odp,otp,sti,sxd,fodp,pptx,pptm,ppsx,potm,"
    "potx,ppt,pps,pot,odg,otg,sxd,std,cdr,cmx,vdx,vsd,vsdm,vsdx,epub,mobi";
const char* const SZK_THUMB_PDF_TYPE = "NAVODOC_THUMB.pdf";
const char* const SZK_THUMB_TYPE = "NAVODOC_THUMB.png";
const char* const SZF_COVERT_TARGET_DIR = "/Vellumo/@tmp/target/";
const char* const SZF_COVERT_SOURCE_DIR = "/Vellumo/@tmp/source/";
const char* const SZF_DOCKER_DIR = "/docker/@tmp";
const char* const SZF_THIRD_PARTY_DB_PATH = "/var/packages/Vellumo/etc/third_party_convert.db";
const char* const SZF_CACHE_DB_PATH = "/var/packages/Vellumo/etc/cache.db";
const char* const SZF_THUMB_DB_PATH = "/var/packages/Vellumo/etc/thumb.db";
const char* const SZF_CONFIG_PATH = "/var/packages/Vellumo/etc/config";

const int32_t LOCK_TIMEOUT_SECS = 5;
const int32_t USLEEP_TIME = 500000;
const int32_t PARALLEL_COUNT = 1;
const int32_t MAX_MEMORY_COUNT = 350 * 1048576;
const int32_t MAX_USING_COUNT = 0;
const int32_t HOME_LENGTH = 6;

}  // namespace NAVO::VELLUMO
