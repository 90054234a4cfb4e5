// Conversion of one community between its bus/store message and the item
// the request engine reads.
#include "agent/community_keep.h"
#include "agent/snmp_looper.h"

void CommunityKeep::setCfg(Item& item, const kx::message& msg) {
  if (const std::string* name = msg.findString(kName)) item.name = *name;
  if (msg.has(kAddress)) item.address = msg.getBe32(kAddress);
  if (msg.has(kAddressMask)) item.addressMask = msg.getBe32(kAddressMask);
  if (msg.has(kReadAccess)) item.readAccess = msg.getBool(kReadAccess);
  if (msg.has(kWriteAccess)) item.writeAccess = msg.getBool(kWriteAccess);
  if (const std::string* pw = msg.findString(kAuthPassword)) item.authPassword = *pw;
  if (const std::string* pw = msg.findString(kEncryptionPassword)) item.encryptionPassword = *pw;
  if (msg.has(kAuthMethod)) item.authMethod = msg.getU32(kAuthMethod);
  if (msg.has(kEncryptionProtocol)) item.encryptionProtocol = msg.getU32(kEncryptionProtocol);
  // Before the looper exists (the keeper loads its store first) there is
  // no engine ID yet: its init regenerates every key once there is.
  if (snmpLooper != nullptr) item.regenerateKeys(snmpLooper->engineID);
  if (msg.has(kSecurity)) item.security = msg.getU32(kSecurity);
}

void CommunityKeep::setAllCfg(Item& item, const kx::message& msg) {
  if (msg.has(kx::kObjId)) item.id = msg.getU32(kx::kObjId);
  setCfg(item, msg);
}

kx::message CommunityKeep::getCfg(const Item& item) {
  kx::message m;
  m.setU32(kx::kObjId, item.id);
  m.setString(kName, item.name);
  m.setBe32(kAddress, item.address);
  m.setBe32(kAddressMask, item.addressMask);
  m.setBool(kReadAccess, item.readAccess);
  m.setBool(kWriteAccess, item.writeAccess);
  m.setString(kAuthPassword, item.authPassword);
  m.setString(kEncryptionPassword, item.encryptionPassword);
  m.setU32(kAuthMethod, item.authMethod);
  m.setU32(kEncryptionProtocol, item.encryptionProtocol);
  m.setU32(kSecurity, item.security);
  return m;
}
