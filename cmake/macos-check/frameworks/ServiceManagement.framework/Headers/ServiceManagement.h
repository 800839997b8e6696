// ServiceManagement, as far as this program uses it.
#pragma once

#import <Foundation/Foundation.h>

typedef enum SMAppServiceStatus : NSInteger {
  SMAppServiceStatusNotRegistered,
  SMAppServiceStatusEnabled,
  SMAppServiceStatusRequiresApproval,
  SMAppServiceStatusNotFound,
} SMAppServiceStatus;

@interface SMAppService : NSObject
@property(class, readonly) SMAppService* mainAppService;
+ (instancetype)daemonServiceWithPlistName:(NSString*)plistName;
@property(readonly) SMAppServiceStatus status;
- (BOOL)registerAndReturnError:(NSError**)error;
- (BOOL)unregisterAndReturnError:(NSError**)error;
+ (void)openSystemSettingsLoginItems;
@end
