#include <stdio.h>
#include <windows.h>
int main(){
  char text[100];
  char tiny[4];
  DWORD n=FormatMessage(FORMAT_MESSAGE_FROM_SYSTEM,NULL,2,0,
    text,sizeof(text),NULL);
  DWORD m=FormatMessage(FORMAT_MESSAGE_FROM_SYSTEM,NULL,2,0,
    tiny,sizeof(tiny),NULL);
  printf("%u [%s] %u %d\n",n,text,m,MAKELANGID(1,2));
  return 0;}
