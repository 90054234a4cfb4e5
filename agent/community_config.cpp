// Conversion of one community between its bus/store message and the item
// the request engine reads.
#include "agent/community_keep.h"
#include "agent/snmp_looper.h"

void CommunityKeep::setCfg(Item& item, const kx::message& msg) {
  if (const std::string* name = msg.findString(snmp::kName)) item.name = *name;
  if (msg.has(snmp::kAddress)) item.address = msg.getBe32(snmp::kAddress);
  if (msg.has(snmp::kAddressMask)) item.addressMask = msg.getBe32(snmp::kAddressMask);
  if (msg.has(snmp::kReadAccess)) item.readAccess = msg.getBool(snmp::kReadAccess);
  if (msg.has(snmp::kWriteAccess)) item.writeAccess = msg.getBool(snmp::kWriteAccess);
  if (const std::string* pw = msg.findString(snmp::kAuthPassword)) item.authPassword = *pw;
  if (const std::string* pw = msg.findString(snmp::kEncryptionPassword))
    item.encryptionPassword = *pw;
  if (msg.has(snmp::kAuthMethod)) item.authMethod = msg.getU32(snmp::kAuthMethod);
  if (msg.has(snmp::kEncryptionProtocol))
    item.encryptionProtocol = msg.getU32(snmp::kEncryptionProtocol);
  // Before the looper exists (the keeper loads its store first) there is
  // no engine ID yet: its init regenerates every key once there is.
  if (snmpLooper != nullptr) item.regenerateKeys(snmpLooper->engineID);
  if (msg.has(snmp::kSecurity)) item.security = msg.getU32(snmp::kSecurity);
}

void CommunityKeep::setAllCfg(Item& item, const kx::message& msg) {
  if (msg.has(kx::kObjId)) item.id = msg.getU32(kx::kObjId);
  setCfg(item, msg);
}

kx::message CommunityKeep::getCfg(const Item& item) {
  kx::message m;
  m.setU32(kx::kObjId, item.id);
  m.setString(snmp::kName, item.name);
  m.setBe32(snmp::kAddress, item.address);
  m.setBe32(snmp::kAddressMask, item.addressMask);
  m.setBool(snmp::kReadAccess, item.readAccess);
  m.setBool(snmp::kWriteAccess, item.writeAccess);
  m.setString(snmp::kAuthPassword, item.authPassword);
  m.setString(snmp::kEncryptionPassword, item.encryptionPassword);
  m.setU32(snmp::kAuthMethod, item.authMethod);
  m.setU32(snmp::kEncryptionProtocol, item.encryptionProtocol);
  m.setU32(snmp::kSecurity, item.security);
  return m;
}
